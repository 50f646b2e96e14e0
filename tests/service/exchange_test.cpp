#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/service/wire_client.h"
#include "tests/support/log_capture.h"
#include "tool/icap/async_response.h"
#include "tool/icap/reply_readers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using test::answer;
using test::started_server;
using test::wire_client;
using testing::HasSubstr;
using testing::StartsWith;

const std::string http_request = "GET http://host/file.bin HTTP/1.1\r\n\r\n";

/// The client's interpretation of a response.
class meaning final : public icap::response_notifier
{
public:
    static std::string of(const answer& reply)
    {
        meaning notifier;
        icap::async_response(reply.message).process(&notifier);
        return notifier.text_;
    }
    void options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods) override
    {
        text_ = "options " + istag + " " + std::to_string(preview);
        for (const auto& method : methods) {
            text_ += " [" + method + "]";
        }
    }
    void continue_(const std::string&) override { text_ = "continue"; }
    void no_content(const std::string&) override { text_ = "no content"; }
    void blocked(const std::string&, const std::string& threat, const std::shared_ptr<icap::response_message>&) override
    {
        text_ = "blocked " + threat;
    }
    void repaired(const std::string&, const std::shared_ptr<icap::response_message>&) override { text_ = "repaired"; }
    void error(const std::string& description) override { text_ = "error " + description; }

private:
    std::string text_;
};

void expect_clean(const answer& reply)
{
    ASSERT_NE(reply.message, nullptr);
    EXPECT_EQ(reply.status(), 204U);
    EXPECT_EQ(reply.field("Encapsulated"), "null-body=0");
    EXPECT_EQ(reply.field("X-Infection-Found"), "");
    EXPECT_EQ(reply.field("Connection"), "keep-alive");
    EXPECT_EQ(meaning::of(reply), "no content");
}

void expect_blocked(const answer& reply)
{
    ASSERT_NE(reply.message, nullptr);
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.field("X-Infection-Found"), "Type=0;Resolution=2;Threat=EICAR-Test-File;");
    EXPECT_THAT(reply.field("Encapsulated"), StartsWith("res-hdr=0, res-body="));
    EXPECT_THAT(reply.object_head(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(reply.object_head(), HasSubstr("Content-Type: text/html; charset=utf-8\r\n"));
    EXPECT_THAT(reply.object_head(), HasSubstr("Content-Length: " + std::to_string(reply.object().size()) + "\r\n"));
    EXPECT_THAT(reply.object(), StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(reply.object(), HasSubstr("EICAR-Test-File"));
    EXPECT_EQ(meaning::of(reply), "blocked EICAR-Test-File");
}

void expect_repaired(const answer& reply, const std::string& object)
{
    ASSERT_NE(reply.message, nullptr);
    EXPECT_EQ(reply.status(), 201U);
    EXPECT_EQ(reply.field("X-Infection-Found"), "Type=0;Resolution=1;Threat=Repairable-Test-Pattern;");
    EXPECT_THAT(reply.object_head(), HasSubstr("Content-Length: " + std::to_string(object.size()) + "\r\n"));
    EXPECT_EQ(reply.object(), object);
    EXPECT_EQ(meaning::of(reply), "repaired");
}

TEST(exchange, options_tell_what_the_service_does)
{
    service::server_options options;
    options.preview = 31;
    const started_server server(options);
    wire_client client = server.client();
    const answer reply = client.ask(test::options_request());
    ASSERT_NE(reply.message, nullptr);
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.field("Methods"), "REQMOD, RESPMOD");
    EXPECT_EQ(reply.field("Preview"), "31");
    EXPECT_EQ(reply.field("Allow"), "204");
    EXPECT_EQ(reply.field("Transfer-Preview"), "*");
    EXPECT_EQ(reply.field("Encapsulated"), "null-body=0");
    EXPECT_EQ(reply.field("Service"), "postwarden-service");
    const std::string istag = reply.field("ISTag");
    EXPECT_THAT(istag, StartsWith("\"builtin-"));
    // The list is split at commas and at blanks.
    EXPECT_EQ(meaning::of(reply), "options " + istag + " 31 [REQMOD] [] [RESPMOD]");
}

TEST(exchange, every_answer_carries_the_tag_of_the_last_options)
{
    const started_server server;
    wire_client client = server.client();
    const std::string istag = client.ask(test::options_request()).field("ISTag");
    EXPECT_EQ(client.ask(test::mail_request("harmless")).field("ISTag"), istag);
    EXPECT_EQ(client.ask(test::mail_request(service::antivirus_test_text())).field("ISTag"), istag);
    EXPECT_EQ(client.ask(test::object_request_head(3, 0) + "0\r\n\r\n").field("ISTag"), istag);
}

TEST(exchange, a_harmless_mail_is_clean)
{
    const started_server server;
    expect_clean(server.client().ask(test::mail_request("harmless")));
    expect_clean(server.client().ask(test::mail_request(std::string(1000000, 'x'))));
}

TEST(exchange, an_infected_mail_is_blocked)
{
    const test::log_capture log;
    const started_server server;
    expect_blocked(server.client().ask(test::mail_request("see: " + service::antivirus_test_text())));
    EXPECT_TRUE(log.contains(") blocked '': EICAR-Test-File"));
}

TEST(exchange, the_notice_names_the_attachment)
{
    const started_server server;
    // "a<b>.txt"
    const answer reply =
        server.client().ask(test::reqmod_head("POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: 68\r\n\r\n",
                                              "Allow: 204\r\nX-Mail-Type: 2\r\nX-Mail-Attach-Name: YTxiPi50eHQ=\r\n") +
                            test::chunk(service::antivirus_test_text()) + "0\r\n\r\n");
    expect_blocked(reply);
    EXPECT_THAT(reply.object(), HasSubstr("<td>a&lt;b&gt;.txt</td>"));
}

TEST(exchange, a_name_with_line_ends_writes_no_line_of_its_own_into_the_log)
{
    const test::log_capture log;
    const started_server server;
    // "x", CR, LF, "forged"
    expect_blocked(
        server.client().ask(test::reqmod_head("POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: 68\r\n\r\n",
                                              "Allow: 204\r\nX-Mail-Type: 2\r\nX-Mail-Attach-Name: eA0KZm9yZ2Vk\r\n") +
                            test::chunk(service::antivirus_test_text()) + "0\r\n\r\n"));
    EXPECT_TRUE(log.contains(") blocked 'x  forged': EICAR-Test-File"));
}

TEST(exchange, a_repairable_mail_comes_back_without_the_pattern)
{
    const test::log_capture log;
    const started_server server;
    const std::string pattern = service::repairable_test_text();
    expect_repaired(server.client().ask(test::mail_request("a" + pattern + "b" + pattern)), "a[removed]b[removed]");
    EXPECT_TRUE(log.contains(") repaired '': Repairable-Test-Pattern"));
    const std::string large(300000, 'y');
    expect_repaired(server.client().ask(test::mail_request(large + pattern)), large + "[removed]");
}

TEST(exchange, a_repaired_response_keeps_its_own_head)
{
    const started_server server;
    const std::string pattern = service::repairable_test_text();
    const answer reply = server.client().ask(
        test::respmod_head(http_request, "HTTP/1.1 203 Odd\r\nX-Own: 1\r\nContent-Length: 34\r\n\r\n") +
        test::chunk(pattern) + "0\r\n\r\n");
    expect_repaired(reply, "[removed]");
    EXPECT_THAT(reply.object_head(), StartsWith("HTTP/1.1 203 Odd\r\n"));
    EXPECT_THAT(reply.object_head(), HasSubstr("X-Own: 1\r\n"));
}

TEST(exchange, a_repaired_response_gets_a_length_if_it_told_none)
{
    const started_server server;
    expect_repaired(server.client().ask(test::respmod_head(http_request, "HTTP/1.1 200 OK\r\nX-Own: 1\r\n\r\n") +
                                        test::chunk(service::repairable_test_text()) + "0\r\n\r\n"),
                    "[removed]");
}

TEST(exchange, health_and_certificate_requests_are_clean)
{
    const started_server server;
    wire_client client = server.client();
    expect_clean(client.ask(test::health_request()));
    expect_clean(client.ask(test::reqmod_head("GET http://check_certificate?sni=example.org HTTP/1.1\r\n\r\n",
                                              "Allow: 204\r\nPreview: 0\r\nX-Certificate-Name: QQ==\r\n",
                                              test::service_uri, false)));
    expect_clean(client.ask(test::health_request()));
}

TEST(exchange, an_empty_mail_needs_no_end_mark_and_the_next_request_follows_at_once)
{
    const started_server server;
    wire_client client = server.client();
    expect_clean(client.ask(test::mail_request("")));
    expect_clean(client.ask(test::mail_request("")));
    expect_blocked(client.ask(test::mail_request(service::antivirus_test_text())));
    // A client that sends the mark, in one piece with the next request or separately.
    expect_clean(client.ask(test::mail_request("") + "0\r\n\r\n"));
    client.send(test::mail_request("") + "0\r\n\r\n" + test::mail_request(service::antivirus_test_text()));
    expect_clean(client.read_answer());
    expect_blocked(client.read_answer());
}

TEST(exchange, requests_may_follow_one_another_without_waiting)
{
    const started_server server;
    wire_client client = server.client();
    client.send(test::options_request() + test::mail_request("one") +
                test::mail_request(service::antivirus_test_text()) + test::health_request() +
                test::mail_request("two"));
    EXPECT_EQ(client.read_answer().status(), 200U);
    expect_clean(client.read_answer());
    expect_blocked(client.read_answer());
    expect_clean(client.read_answer());
    expect_clean(client.read_answer());
}

TEST(exchange, a_request_may_come_byte_by_byte)
{
    const started_server server;
    wire_client client = server.client();
    ASSERT_TRUE(client.send_in_pieces(test::mail_request("see: " + service::antivirus_test_text()), 1));
    expect_blocked(client.read_answer());
    ASSERT_TRUE(client.send_in_pieces(test::mail_request("harmless"), 1));
    expect_clean(client.read_answer());
}

TEST(exchange, a_peer_that_does_not_allow_204_gets_its_mail_back)
{
    const started_server server;
    wire_client client = server.client();
    const answer reply = client.ask(test::mail_request("harmless", ""));
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_THAT(reply.field("Encapsulated"), StartsWith("req-hdr=0, req-body="));
    EXPECT_THAT(reply.object_head(), StartsWith("POST http://check_mail?tag=t HTTP/1.1\r\n"));
    EXPECT_EQ(reply.object(), "harmless");
    EXPECT_EQ(meaning::of(reply), "no content");
    expect_clean(client.ask(test::mail_request("next")));
}

TEST(exchange, a_peer_that_does_not_allow_204_gets_its_response_back)
{
    const started_server server;
    wire_client client = server.client();
    const std::string head = "HTTP/1.1 200 OK\r\nX-Own: 1\r\nContent-Length: 8\r\n\r\n";
    const answer reply = client.ask(test::respmod_head(http_request, head, "") + "8\r\nharmless\r\n0\r\n\r\n");
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.object_head(), head);
    EXPECT_EQ(reply.object(), "harmless");
}

TEST(exchange, an_object_that_comes_back_gets_a_length_if_it_told_none_or_a_wrong_one)
{
    const started_server server;
    for (const std::string_view length : {"", "Content-Length: 100\r\n"}) {
        const std::string head = "HTTP/1.1 200 OK\r\nX-Own: 1\r\n" + std::string(length) + "\r\n";
        wire_client client = server.client();
        const answer reply = client.ask(test::respmod_head(http_request, head, "") + "8\r\nharmless\r\n0\r\n\r\n");
        ASSERT_EQ(reply.status(), 200U) << length;
        EXPECT_EQ(reply.object(), "harmless");
        EXPECT_THAT(reply.object_head(), HasSubstr("X-Own: 1\r\n"));
        EXPECT_THAT(reply.object_head(), HasSubstr("Content-Length: 8\r\n"));
        expect_clean(client.ask(test::mail_request("next")));
    }
}

TEST(exchange, a_chunked_response_comes_back_and_is_repaired_too)
{
    const started_server server;
    wire_client client = server.client();
    const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    const answer back = client.ask(test::respmod_head(http_request, head, "") + "4\r\nharm\r\n4\r\nless\r\n0\r\n\r\n");
    EXPECT_EQ(back.status(), 200U);
    EXPECT_EQ(back.object_head(), head);
    EXPECT_EQ(back.object(), "harmless");
    const std::string pattern = service::repairable_test_text();
    const answer repaired =
        client.ask(test::respmod_head(http_request, head) + test::chunk("a" + pattern.substr(0, 9)) +
                   test::chunk(pattern.substr(9)) + "0\r\n\r\n");
    EXPECT_EQ(repaired.status(), 201U);
    EXPECT_EQ(repaired.object(), "a[removed]");
    expect_blocked(
        client.ask(test::respmod_head(http_request, head) + test::chunk(service::antivirus_test_text()) + "0\r\n\r\n"));
}

TEST(exchange, nothing_follows_the_head_of_an_answer_without_a_body)
{
    const started_server server;
    wire_client client = server.client();
    const std::string head = "HTTP/1.1 304 Not Modified\r\nX-Own: 1\r\n\r\n";
    client.send(test::respmod_head(http_request, head, "Connection: close\r\n", test::service_uri, false));
    const std::string reply = client.read_to_end();
    EXPECT_THAT(reply, StartsWith("ICAP/1.0 200 OK\r\n"));
    EXPECT_THAT(reply, HasSubstr("\r\nEncapsulated: res-hdr=0, null-body=" + std::to_string(head.size()) + "\r\n"));
    EXPECT_TRUE(reply.ends_with("\r\n\r\n" + head)) << reply;
}

TEST(exchange, an_empty_response_without_204_comes_back_empty)
{
    const started_server server;
    wire_client client = server.client();
    client.send(test::respmod_head(http_request, test::object_head(0), "Connection: close\r\n") + "0\r\n\r\n");
    const std::string reply = client.read_to_end();
    EXPECT_TRUE(reply.ends_with("\r\n\r\n" + test::object_head(0))) << reply;
}

TEST(exchange, another_uri_is_not_found)
{
    const started_server server;
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1:1344/other")).status(), 404U);
    EXPECT_EQ(client
                  .ask(test::mail_request(service::antivirus_test_text(), "Allow: 204\r\n",
                                          "icap://127.0.0.1:1344/webscan/more"))
                  .status(),
              404U);
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1:1344/Webscan")).status(), 404U);
    expect_clean(client.ask(test::mail_request("the connection goes on")));
}

TEST(exchange, the_uri_is_the_one_that_was_set)
{
    service::server_options options;
    options.uri = "/a/b";
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::options_request("icap://127.0.0.1/a/b")).status(), 200U);
    EXPECT_EQ(client.ask(test::options_request()).status(), 404U);
}

TEST(exchange, a_request_that_is_none_is_told_so_and_ends_the_connection)
{
    const started_server server;
    for (const std::string& request :
         {std::string("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"), std::string("\x16\x03\x01\x00\xFF", 5),
          std::string("REQMOD icap://h/webscan ICAP/1.0\r\n\r\n"), std::string("nonsense\r\n\r\n")}) {
        wire_client client = server.client();
        const answer reply = client.ask(request);
        EXPECT_EQ(reply.status(), 400U) << request;
        EXPECT_EQ(reply.field("Connection"), "close");
        EXPECT_TRUE(client.closed_by_service());
    }
}

TEST(exchange, a_request_that_goes_wrong_behind_a_good_one_ends_the_connection_after_both_answers)
{
    const started_server server;
    wire_client client = server.client();
    client.send(test::mail_request("good") + "nonsense\r\n\r\n");
    expect_clean(client.read_answer());
    EXPECT_EQ(client.read_answer().status(), 400U);
    EXPECT_TRUE(client.closed_by_service());
}

TEST(exchange, a_peer_may_ask_for_the_connection_to_end)
{
    const started_server server;
    wire_client client = server.client();
    expect_clean(client.ask(test::mail_request("harmless", "Allow: 204\r\nConnection: close\r\n")));
    EXPECT_TRUE(client.closed_by_service());
    wire_client other = server.client();
    expect_clean(other.ask(test::mail_request("harmless", "Allow: 204\r\nConnection: Keep-Alive\r\n")));
    expect_clean(other.ask(test::mail_request("harmless")));
}

TEST(exchange, many_connections_are_served_at_once)
{
    const started_server server;
    constexpr int connections = 32;
    std::vector<std::thread> threads;
    std::vector<int> right(connections, 0);
    for (int i = 0; i < connections; ++i) {
        threads.emplace_back([&, i] {
            wire_client client = server.client();
            const std::string filling(static_cast<std::size_t>(i) * 1000, 'x');
            for (int round = 0; round < 5; ++round) {
                const bool infected = (i + round) % 2 == 0;
                const answer reply =
                    client.ask(test::mail_request(filling + (infected ? service::antivirus_test_text() : "harmless")));
                right[static_cast<std::size_t>(i)] += reply.status() == (infected ? 200U : 204U) ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(right, testing::Each(5));
}

} // namespace
