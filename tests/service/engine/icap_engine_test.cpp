#include "tests/service/engine/icap_upstream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace icap_engine_test {

using namespace test::icap_upstream;
using service::icap_engine;
using test::conversation;
using test::scripted_peer;
using testing::HasSubstr;
using testing::StartsWith;

const std::string infected = "X-Infection-Found: Type=0; Resolution=2; Threat=Some.Name-1;\r\n";

/// The verdict on "hello" of a server that answers so once it has the whole object.
std::string verdict_of(const std::string& answer, std::string_view object = "hello")
{
    // The connection of the options is closed, so that nothing is repeated.
    scripted_peer peer(
        {after_options("Connection: close\r\n"), conversation().expect_until(whole).send(answer).close()});
    icap_engine engine(url(peer.port()));
    const std::string outcome = described(judged(engine, object));
    EXPECT_TRUE(peer.complaints().empty());
    return outcome;
}

/// As above, of a server that asks for a preview of four bytes and then for the rest.
std::string verdict_after_preview(const std::string& answer)
{
    scripted_peer peer({after_options("Preview: 4\r\n")
                            .expect_until("\r\n4\r\nhell" + whole)
                            .send(go_on)
                            .expect_until("1\r\no" + whole)
                            .send(answer)});
    icap_engine engine(url(peer.port()));
    const std::string outcome = described(judged(engine, "hello"));
    EXPECT_TRUE(peer.complaints().empty());
    return outcome;
}

TEST(icap_engine, sends_an_object_as_the_body_of_a_response)
{
    scripted_peer peer({after_options().expect_until(whole).send(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello", "a \xC3\xA4/b.txt")), "clean");
    const std::string server = "127.0.0.1:" + std::to_string(peer.port());
    const std::string first = "GET http://postwarden.invalid/a%20%C3%A4%2Fb.txt HTTP/1.1\r\n"
                              "Host: postwarden.invalid\r\n\r\n";
    const std::string second = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: 5\r\n\r\n";
    EXPECT_EQ(peer.received(0), "OPTIONS icap://" + server + "/avscan ICAP/1.0\r\nHost: " + server +
                                    "\r\nUser-Agent: postwarden-service\r\n\r\n"
                                    "RESPMOD icap://" +
                                    server + "/avscan ICAP/1.0\r\nHost: " + server +
                                    "\r\nUser-Agent: postwarden-service\r\nAllow: 204\r\n"
                                    "Encapsulated: req-hdr=0, res-hdr=" +
                                    std::to_string(first.size()) +
                                    ", res-body=" + std::to_string(first.size() + second.size()) + "\r\n\r\n" + first +
                                    second + "5\r\nhello\r\n0\r\n\r\n");
}

TEST(icap_engine, sends_the_preview_that_the_server_asks_for)
{
    scripted_peer peer({after_options("Preview: 8\r\n")
                            .expect_until("\r\n5\r\nhello" + ieof)
                            .send(no_content)
                            .expect_until("\r\n8\r\n12345678" + ieof)
                            .send(no_content)
                            .expect_until("\r\n8\r\n12345678" + whole)
                            .send(no_content)
                            .expect_until("\r\n8\r\n12345678" + whole)
                            .send(go_on)
                            .expect_until("1\r\n9" + whole)
                            .send(no_content)
                            .expect_until("\r\n\r\n0; ieof\r\n\r\n")
                            .send(no_content)});
    icap_engine engine(url(peer.port()));
    for (const std::string_view object : {"hello", "12345678", "123456789", "123456789", ""}) {
        EXPECT_EQ(described(judged(engine, object)), "clean") << object;
    }
    EXPECT_TRUE(peer.complaints().empty());
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_THAT(peer.received(0), HasSubstr("\r\nPreview: 8\r\n"));
}

TEST(icap_engine, sends_an_empty_preview_if_the_server_asks_for_one)
{
    scripted_peer peer({after_options("Preview: 0\r\n")
                            .expect_until("\r\n\r\n0\r\n\r\n")
                            .send(go_on)
                            .expect_until("5\r\nhello" + whole)
                            .send(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_engine, sends_all_of_a_large_object)
{
    std::string object;
    for (int i = 0; object.size() < 400000; ++i) {
        object += std::to_string(i) + " ";
    }
    scripted_peer peer({after_options().expect_until(whole).send(modified(object))});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, object)), "clean");
    std::string changed = object;
    changed.back() = 'x';
    scripted_peer other({after_options().expect_until(whole).send(modified(changed))});
    icap_engine second(url(other.port()));
    EXPECT_EQ(described(judged(second, object)), "blocked: replaced by 127.0.0.1");
}

TEST(icap_engine, clears_what_the_server_clears)
{
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No modifications needed\r\n\r\n"), "clean");
    EXPECT_EQ(verdict_of("ICAP/1.0 204\n\n"), "clean");
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No Content\r\nEncapsulated: null-body=0\r\n\r\n"), "clean");
    EXPECT_EQ(verdict_of(modified("hello")), "clean");
    EXPECT_EQ(
        verdict_of("ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\n2;a=b\r\nhe\r\n3\r\nllo\r\n0\r\nA: b\r\n\r\n"),
        "clean");
    EXPECT_EQ(verdict_of(modified("hello", "X-Violations-Found: 0\r\n")), "clean");
    EXPECT_EQ(verdict_after_preview(no_content), "clean");
    EXPECT_EQ(verdict_after_preview(modified("hello")), "clean");
}

TEST(icap_engine, names_what_the_server_found)
{
    EXPECT_EQ(verdict_of(modified("page", infected)), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(modified("hello", infected)), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(modified("page", infected, "HTTP/1.1 403 Forbidden")), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(modified("page", "x-virus-id: A (b)\r\n")), "blocked: A (b)");
    EXPECT_EQ(verdict_of(modified("page", "X-Infection-Found: nonsense\r\n")), "blocked: unknown threat");
    EXPECT_EQ(verdict_of(modified("page", "X-Violations-Found: 1\r\n\ta.exe\r\n\tEICAR\r\n\t17\r\n\t2\r\n")),
              "blocked: EICAR");
    EXPECT_EQ(verdict_of(modified("page", "X-Violations-Found: odd\r\n")), "blocked: unknown violation");
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No Content\r\n" + infected + "\r\n"), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of("ICAP/1.0 403 Forbidden\r\n" + infected + "\r\n"), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of("ICAP/1.0 500 Error\r\nX-Virus-ID: a\x01\xFF\r\n\r\n"), "blocked: a??");
    EXPECT_EQ(verdict_of(modified("page", {}, "HTTP/1.1 200 OK\r\nX-Virus-ID: inside")), "blocked: inside");
    EXPECT_EQ(verdict_after_preview(modified("page", infected)), "blocked: Some.Name-1");
}

TEST(icap_engine, believes_a_report_in_a_field_that_is_repeated)
{
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No Content\r\nX-Virus-ID:\r\nX-Virus-ID: Second\r\n\r\n"), "blocked: Second");
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No Content\r\nX-Infection-Found:\r\n" + infected + "\r\n"),
              "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No Content\r\nX-Violations-Found: 0\r\n"
                         "X-Violations-Found: 1\r\n\ta.exe\r\n\tEICAR\r\n\t17\r\n\t2\r\n\r\n"),
              "blocked: EICAR");
    // One threat that was removed does not repair an object that contains another one.
    EXPECT_EQ(verdict_of(modified("page", "X-Infection-Found: Type=0; Resolution=1; Threat=Removed;\r\n" + infected)),
              "blocked: Removed");
}

TEST(icap_engine, believes_a_report_without_the_rest_of_the_answer)
{
    const std::string head = "ICAP/1.0 200 OK\r\n" + infected + "Encapsulated: res-hdr=0, res-body=30\r\n\r\n";
    EXPECT_EQ(verdict_of(head), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(head + "HTTP/1.1 200 O"), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(head + std::string(30, 'x')), "blocked: Some.Name-1");
    const std::string answer = modified("page", infected);
    EXPECT_EQ(verdict_of(answer.substr(0, answer.size() - 8)), "blocked: Some.Name-1");
    EXPECT_EQ(verdict_of(answer.substr(0, answer.size() - 8) + "more than its size"), "blocked: Some.Name-1");
}

TEST(icap_engine, takes_over_what_the_server_repaired)
{
    const std::string repaired = "X-Infection-Found: Type=0; Resolution=1; Threat=Macro;\r\n";
    EXPECT_EQ(verdict_of(modified("hell", repaired)), "repaired: Macro: hell");
    EXPECT_EQ(verdict_of(modified("", repaired)), "repaired: Macro: ");
    const std::string larger(300000, 'x');
    EXPECT_TRUE(verdict_of(modified(larger, repaired)) == "repaired: Macro: " + larger);
    // Without a whole object the original one is withheld.
    const std::string answer = modified("hell", repaired);
    EXPECT_EQ(verdict_of(answer.substr(0, answer.size() - 1)), "blocked: Macro");
    EXPECT_EQ(verdict_of(modified("page", repaired, "HTTP/1.1 403 Forbidden")), "blocked: Macro");
    EXPECT_EQ(verdict_of("ICAP/1.0 200 OK\r\n" + repaired + "Encapsulated: null-body=0\r\n\r\n"), "blocked: Macro");
    EXPECT_EQ(verdict_of(modified(std::string((1U << 20U) + 6, 'x'), repaired)), "blocked: Macro");
}

TEST(icap_engine, blocks_what_the_server_blocks_or_replaces_without_a_report)
{
    EXPECT_EQ(verdict_of(modified("page", {}, "HTTP/1.1 403 Forbidden")), "blocked: blocked by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("hello", {}, "HTTP/1.1 403 Forbidden")), "blocked: blocked by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("", {}, "HTTP/1.0 307 Elsewhere")), "blocked: blocked by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("page")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("hell")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("hello!")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_of(modified("hello", {}, "HTTP/1.1 206 Partial")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_of("ICAP/1.0 200 OK\r\nEncapsulated: null-body=0\r\n\r\n"), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_after_preview(modified("page")), "blocked: replaced by 127.0.0.1");
    EXPECT_EQ(verdict_after_preview(modified("page", {}, "HTTP/1.1 403 Forbidden")), "blocked: blocked by 127.0.0.1");
}

TEST(icap_engine, clears_nothing_when_the_server_fails)
{
    EXPECT_EQ(verdict_of("ICAP/1.0 500 Server error\r\n\r\n"), "error: 127.0.0.1 answered with status 500");
    EXPECT_EQ(verdict_of("ICAP/1.0 404 Service not found\r\n\r\n"), "error: 127.0.0.1 answered with status 404");
    EXPECT_EQ(verdict_of("ICAP/1.0 206 Partial\r\nEncapsulated: null-body=0\r\n\r\n"),
              "error: 127.0.0.1 answered with status 206");
    EXPECT_EQ(verdict_of("ICAP/1.0 413 Too large\r\n\r\n"), "unchecked: 127.0.0.1: the object is too large");
    EXPECT_EQ(verdict_after_preview("ICAP/1.0 503 Overloaded\r\n\r\n"), "error: 127.0.0.1 answered with status 503");
    EXPECT_EQ(verdict_of(go_on), "error: answer not understood: 100 without a preview that it continues");
    EXPECT_EQ(verdict_after_preview(go_on), "error: answer not understood: 100 without a preview that it continues");
}

TEST(icap_engine, clears_nothing_by_an_answer_that_it_cannot_read)
{
    const std::string no_object = "error: answer not understood: 200 without an object";
    EXPECT_EQ(verdict_of("ICAP/1.0 200 OK\r\n\r\n"), no_object);
    EXPECT_EQ(verdict_of("ICAP/1.0 200 OK\r\nEncapsulated: req-hdr=0, null-body=4\r\n\r\nGET "), no_object);
    EXPECT_EQ(verdict_of(""), "error: connection closed without an answer");
    EXPECT_EQ(verdict_of("ICAP/1.0 204 No"), "error: connection closed within the answer");
    const std::string answer = modified("hello");
    EXPECT_EQ(verdict_of(answer.substr(0, answer.size() - 2)), "error: connection closed within the answer");
    for (const std::string& text :
         {std::string("HTTP/1.1 204 No Content\r\n\r\n"), std::string("garbage\r\n\r\n"),
          std::string("ICAP/1.0 2040 No Content\r\n\r\n"), std::string("ICAP/1.0 204 No Content\r\nno name\r\n\r\n"),
          std::string(100000, 'x'), "ICAP/1.0 204 No Content\r\nA: " + std::string(100000, 'x'),
          std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-hdr=0, res-body=70000\r\n\r\n"),
          std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-hdr=0, res-body=5\r\n\r\nabcde"),
          std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\nx\r\nhello\r\n0\r\n\r\n"),
          std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\n4\r\nhello\r\n0\r\n\r\n"),
          std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\n10000000000000005\r\nhello\r\n0\r\n\r\n"),
          "ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\n5" + std::string(2000, ';')}) {
        EXPECT_THAT(verdict_of(text), StartsWith("error: answer not understood: ")) << text.substr(0, 100);
    }
}

} // namespace icap_engine_test
