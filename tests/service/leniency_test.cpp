// Requests of other clients than the mail add-in, over the wire.

#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace leniency_test {

using test::answer;
using test::chunk;
using test::end_mark;
using test::started_server;
using test::wire_client;
using testing::HasSubstr;
using testing::StartsWith;

const std::string http_request = "GET http://host/file.bin HTTP/1.1\r\n\r\n";
const std::string http_post = "POST http://host/form HTTP/1.1\r\n\r\n";
const std::string http_response = "HTTP/1.1 200 OK\r\nX-Own: 1\r\n\r\n";

/// Returns an ICAP request without its body. `lines` are whole lines, with Encapsulated among them.
std::string request(std::string_view method, std::string_view lines, std::string_view heads = "",
                    std::string_view uri = test::service_uri)
{
    std::string text(method);
    text.append(" ").append(uri).append(" ICAP/1.0\r\nHost: 127.0.0.1\r\n").append(lines).append("\r\n");
    return text.append(heads);
}

std::string encapsulated(std::string_view list)
{
    return std::string("Encapsulated: ").append(list).append("\r\n");
}

/// A form of a request without some of the encapsulated parts.
struct parts
{
    std::string name;
    std::string method;
    std::string list; ///< with "*-body" at its end
    std::string heads;

    [[nodiscard]] std::string with(std::string_view lines, std::string_view body) const
    {
        return request(method, std::string(lines) + encapsulated(list), heads) + std::string(body);
    }
};

std::ostream& operator<<(std::ostream& out, const parts& form)
{
    return out << form.name;
}

class incomplete_parts : public testing::TestWithParam<parts>
{
protected:
    [[nodiscard]] static std::string object() { return chunk("harm") + chunk("less") + std::string(end_mark); }
    [[nodiscard]] static std::string object_of(const std::string& text) { return chunk(text) + std::string(end_mark); }

    started_server server_;
    wire_client client_ = server_.client();
};

TEST_P(incomplete_parts, clean_are_answered_with_204)
{
    EXPECT_EQ(client_.ask(GetParam().with("Allow: 204\r\n", object())).status(), 204U);
    EXPECT_EQ(client_.ask(test::mail_request("next")).status(), 204U);
}

TEST_P(incomplete_parts, clean_come_back_if_204_is_not_allowed)
{
    const answer reply = client_.ask(GetParam().with("", object()));
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.object(), "harmless");
    EXPECT_THAT(reply.object_head(), HasSubstr("Content-Length: 8\r\n"));
    EXPECT_EQ(reply.field("X-Infection-Found"), "");
    EXPECT_EQ(client_.ask(test::mail_request("next")).status(), 204U);
}

TEST_P(incomplete_parts, condemned_are_answered_with_the_notice)
{
    const answer reply = client_.ask(GetParam().with("", object_of(service::antivirus_test_text())));
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_THAT(reply.field("Encapsulated"), StartsWith("res-hdr=0, res-body="));
    EXPECT_THAT(reply.object(), StartsWith("<!DOCTYPE html>"));
    EXPECT_EQ(client_.ask(test::mail_request("next")).status(), 204U);
}

TEST_P(incomplete_parts, repaired_are_answered_with_201)
{
    const answer reply = client_.ask(GetParam().with("", object_of("a" + service::repairable_test_text())));
    EXPECT_EQ(reply.status(), 201U);
    EXPECT_EQ(reply.object(), "a[removed]");
}

TEST_P(incomplete_parts, are_judged_behind_their_preview)
{
    const std::string text = service::antivirus_test_text();
    const std::string head = GetParam().with("Preview: 31\r\n", "");
    EXPECT_EQ(client_.ask(head + test::standard_preview(text, 31)).status(), 100U);
    EXPECT_THAT(client_.ask(object_of(text.substr(31))).object(), StartsWith("<!DOCTYPE html>"));
    EXPECT_EQ(client_.ask(head + test::standard_preview("short", 31, true)).status(), 204U);
}

INSTANTIATE_TEST_SUITE_P(
    leniency, incomplete_parts,
    testing::Values(parts{"response_without_request", "RESPMOD",
                          "res-hdr=0, res-body=" + std::to_string(http_response.size()), http_response},
                    parts{"response_body_alone", "RESPMOD", "res-body=0", ""},
                    parts{"request_head_and_response_body", "RESPMOD",
                          "req-hdr=0, res-body=" + std::to_string(http_request.size()), http_request},
                    parts{"request_body_alone", "REQMOD", "req-body=0", ""},
                    parts{"request_without_length", "REQMOD", "req-hdr=0, req-body=" + std::to_string(http_post.size()),
                          http_post}),
    [](const auto& instance) { return instance.param.name; });

/// A service and one client of it.
class leniency : public testing::Test
{
protected:
    /// The status of a RESPMOD with these lines of its head and a harmless object.
    [[nodiscard]] std::uint32_t status_with(std::string_view lines)
    {
        return client_.ask(request("RESPMOD", lines, http_response) + chunk("harmless") + std::string(end_mark))
            .status();
    }

    started_server server_;
    wire_client client_ = server_.client();
    const std::string parts_ = "res-hdr=0, res-body=" + std::to_string(http_response.size());
    const std::string condemned_ = service::antivirus_test_text();
};

TEST_F(leniency, a_response_without_a_body_is_clean)
{
    const std::string end = std::to_string(http_response.size());
    EXPECT_EQ(
        client_.ask(request("RESPMOD", "Allow: 204\r\n" + encapsulated("res-hdr=0, null-body=" + end), http_response))
            .status(),
        204U);
    EXPECT_EQ(client_.ask(request("RESPMOD", "Allow: 204\r\n" + encapsulated("null-body=0"))).status(), 204U);
    const answer back = client_.ask(request("RESPMOD", encapsulated("res-hdr=0, null-body=" + end), http_response));
    EXPECT_EQ(back.status(), 200U);
    EXPECT_THAT(back.field("Encapsulated"), HasSubstr("null-body="));
    EXPECT_EQ(client_.ask(test::mail_request("next")).status(), 204U);
}

TEST_F(leniency, the_length_of_a_body_that_is_not_there_is_kept)
{
    const std::string head = "HTTP/1.1 304 Not Modified\r\nContent-Length: 1234\r\n\r\n";
    client_.send(request("RESPMOD",
                         "Connection: close\r\n" + encapsulated("res-hdr=0, null-body=" + std::to_string(head.size())),
                         head));
    EXPECT_THAT(client_.read_to_end(), testing::EndsWith("\r\n\r\n" + head));
}

TEST_F(leniency, a_request_that_came_without_its_length_goes_back_with_it_and_without_our_framing)
{
    const answer reply = client_.ask(
        request("REQMOD", encapsulated("req-hdr=0, req-body=" + std::to_string(http_post.size())), http_post) +
        chunk("harmless") + std::string(end_mark));
    EXPECT_EQ(reply.object_head(), "POST http://host/form HTTP/1.1\r\nContent-Length: 8\r\n\r\n");
}

TEST_F(leniency, encapsulated_may_be_spaced_folded_and_in_capitals)
{
    const std::string end = std::to_string(http_response.size());
    for (const std::string& lines :
         {"ENCAPSULATED:res-hdr=0,res-body=" + end + "\r\n", "encapsulated:\tres-hdr=0 ,\tres-body=" + end + "\r\n",
          "Encapsulated: RES-HDR=0, Res-Body=" + end + " \r\n",
          "Encapsulated: res-hdr = 0 , res-body = " + end + "\r\n",
          "Encapsulated: res-hdr=0,\r\n res-body=" + end + "\r\n",
          "Encapsulated:\r\n\tres-hdr=0,\r\n  res-body=" + end + "\r\nX-Last: 1\r\n",
          "Encapsulated : res-hdr=0, res-body=" + end + "\r\n"}) {
        EXPECT_EQ(status_with("Allow: 204\r\n" + lines), 204U) << lines;
    }
}

TEST_F(leniency, a_204_may_be_anywhere_in_allow)
{
    for (const std::string_view allow : {"204", "206, 204", "204, 206", "trailers,\t204 ", "\r\n 204"}) {
        EXPECT_EQ(status_with("Allow: " + std::string(allow) + "\r\n" + encapsulated(parts_)), 204U) << allow;
    }
    for (const std::string_view allow : {"206", "2040", "trailers", "x204", ""}) {
        EXPECT_EQ(status_with("allow: " + std::string(allow) + "\r\n" + encapsulated(parts_)), 200U) << allow;
    }
}

TEST_F(leniency, unknown_headers_are_passed_over)
{
    EXPECT_EQ(status_with("X-Client-IP: 192.0.2.1\r\nALLOW:204\r\nX-Empty:\r\nX-Folded: a\r\n b\r\n\tc\r\n"
                          "X-Odd: :;=\"\r\n" +
                          encapsulated(parts_) + "Proxy-Authorization: Basic eDp5\r\n"),
              204U);
}

TEST_F(leniency, the_size_of_the_preview_may_be_spaced)
{
    for (const std::string_view line :
         {"preview:31\r\n", "PREVIEW: \t31 \r\n", "Preview:\r\n 31\r\n", "Preview : 31\r\n"}) {
        const std::string head = request("RESPMOD", std::string(line) + encapsulated(parts_), http_response);
        EXPECT_EQ(client_.ask(head + test::standard_preview(condemned_, 31)).status(), 100U) << line;
        EXPECT_EQ(client_.ask(chunk(condemned_.substr(31)) + std::string(end_mark)).status(), 200U) << line;
    }
}

TEST_F(leniency, a_preview_ends_an_object_in_any_spelling_of_its_mark)
{
    const std::string head = request("RESPMOD", "Preview: 31\r\n" + encapsulated(parts_), http_response);
    for (const std::string_view mark : {"0; ieof", "0;ieof", "0 ; ieof", "0; IEOF", "000;ieof", "0; a=b; ieof"}) {
        EXPECT_EQ(client_.ask(head + "5\r\nshort\r\n" + std::string(mark) + "\r\n\r\n").status(), 204U) << mark;
    }
    EXPECT_EQ(client_.ask(head + "0; ieof\r\n\r\n").status(), 204U);
}

TEST_F(leniency, another_extension_does_not_end_an_object_with_its_preview)
{
    const std::string head = request("RESPMOD", "Preview: 31\r\n" + encapsulated(parts_), http_response);
    for (const std::string_view mark : {"0; of=ie", "0;x=free", "0; ieofs", "0"}) {
        EXPECT_EQ(client_.ask(head + chunk(condemned_.substr(0, 31)) + std::string(mark) + "\r\n\r\n").status(), 100U)
            << mark;
        EXPECT_EQ(client_.ask(chunk(condemned_.substr(31)) + std::string(end_mark)).status(), 200U) << mark;
    }
}

TEST_F(leniency, a_preview_may_be_larger_than_the_object_and_not_say_so)
{
    const std::string head = request("RESPMOD", "Preview: 1024\r\n" + encapsulated(parts_), http_response);
    EXPECT_EQ(client_.ask(head + chunk(condemned_) + std::string(end_mark)).status(), 100U);
    EXPECT_EQ(client_.ask(end_mark).status(), 200U);
    EXPECT_EQ(client_.ask(head + std::string(end_mark)).status(), 100U);
    EXPECT_EQ(client_.ask(chunk(condemned_) + std::string(end_mark)).status(), 200U);
}

TEST_F(leniency, a_preview_of_no_bytes_is_followed_by_all_or_nothing)
{
    const std::string head = request("RESPMOD", "Preview: 0\r\n" + encapsulated(parts_), http_response);
    EXPECT_EQ(client_.ask(head + "0; ieof\r\n\r\n").status(), 204U);
    EXPECT_EQ(client_.ask(head + std::string(end_mark)).status(), 100U);
    EXPECT_EQ(client_.ask(chunk(condemned_) + std::string(end_mark)).status(), 200U);
    EXPECT_EQ(client_.ask(head + std::string(end_mark)).status(), 100U);
    const answer whole = client_.ask(chunk("harmless") + std::string(end_mark));
    EXPECT_EQ(whole.status(), 200U);
    EXPECT_EQ(whole.object(), "harmless");
}

TEST_F(leniency, a_posted_preview_without_a_length_does_not_pass_for_the_object)
{
    const std::string head =
        request("REQMOD", "Preview: 31\r\n" + encapsulated("req-hdr=0, req-body=" + std::to_string(http_post.size())),
                http_post);
    EXPECT_EQ(client_.ask(head + chunk(condemned_.substr(0, 31)) + std::string(end_mark)).status(), 100U);
    EXPECT_THAT(client_.ask(chunk(condemned_.substr(31)) + std::string(end_mark)).object(), HasSubstr("EICAR"));
}

TEST_F(leniency, chunks_may_have_extensions_and_trailers_may_follow)
{
    const std::string head = request("RESPMOD", encapsulated(parts_), http_response);
    const std::string half = condemned_.substr(0, 34);
    const std::string rest = condemned_.substr(34);
    for (const std::string_view ending : {"0\r\nX-Trailer: 1\r\nX-Other: a\r\n b\r\n\r\n", "0;a=\"b;c\"\r\n\r\n"}) {
        const answer reply =
            client_.ask(head + "22;name=value\r\n" + half + "\r\n0022 ; x\r\n" + rest + "\r\n" + std::string(ending));
        EXPECT_THAT(reply.object(), HasSubstr("EICAR")) << ending;
    }
    EXPECT_EQ(client_.ask(test::mail_request("next")).status(), 204U);
}

TEST_F(leniency, the_length_of_an_object_may_have_blanks_behind_it)
{
    const std::string response = "HTTP/1.1 200 OK\r\nContent-Length: 68 \r\n\r\n";
    const std::string list = encapsulated("res-hdr=0, res-body=" + std::to_string(response.size()));
    const std::string head = request("RESPMOD", "Preview: 31\r\n" + list, response);
    EXPECT_EQ(client_.ask(head + chunk(condemned_.substr(0, 31)) + std::string(end_mark)).status(), 100U);
    EXPECT_EQ(client_.ask(chunk(condemned_.substr(31)) + std::string(end_mark)).status(), 200U);
}

TEST_F(leniency, an_object_of_more_than_four_gigabytes_is_too_large)
{
    const std::string response = "HTTP/1.1 200 OK\r\nContent-Length: 5000000000\r\n\r\n";
    const std::string list = encapsulated("res-hdr=0, res-body=" + std::to_string(response.size()));
    EXPECT_EQ(client_.ask(request("RESPMOD", "Preview: 31\r\n" + list, response)).status(), 413U);
}

TEST_F(leniency, requests_ahead_are_answered_in_their_order)
{
    const std::string back = request("RESPMOD", encapsulated(parts_), http_response);
    std::string text = request("OPTIONS", "");
    for (int i = 0; i < 20; ++i) {
        text += back + chunk("object " + std::to_string(i)) + std::string(end_mark);
    }
    text += back + chunk(condemned_) + std::string(end_mark) + test::options_request();
    client_.send(text);
    EXPECT_THAT(client_.read_answer().field("Methods"), HasSubstr("RESPMOD"));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(client_.read_answer().object(), "object " + std::to_string(i));
    }
    EXPECT_THAT(client_.read_answer().object(), HasSubstr("EICAR"));
    EXPECT_THAT(client_.read_answer().field("Methods"), HasSubstr("RESPMOD"));
}

TEST_F(leniency, the_path_of_the_uri_decides)
{
    for (const std::string_view uri :
         {"icap://127.0.0.1/webscan", "icap://other.example:1344/webscan?a=b&c=%20", "ICAP://[::1]:1344/webscan",
          "icap://user@host-name_1/webscan#x", "/webscan", "icap://h/webscan?http://x/y"}) {
        EXPECT_EQ(client_.ask(request("OPTIONS", "", "", uri)).status(), 200U) << uri;
        EXPECT_EQ(client_
                      .ask(request("RESPMOD", "Allow: 204\r\n" + encapsulated("res-body=0"), "", uri) + chunk("x") +
                           std::string(end_mark))
                      .status(),
                  204U)
            << uri;
    }
    for (const std::string_view uri : {"icap://127.0.0.1/", "icap://127.0.0.1", "icap://webscan", "icap://h/webscan-2",
                                       "icap://h/web%73can", "icap://h/?/webscan", "icap://h/x/webscan", "*"}) {
        EXPECT_EQ(client_.ask(request("OPTIONS", "", "", uri)).status(), 404U) << uri;
    }
}

TEST_F(leniency, options_need_no_encapsulated)
{
    EXPECT_EQ(client_.ask(request("OPTIONS", "")).status(), 200U);
    EXPECT_EQ(client_.ask(request("OPTIONS", "Encapsulated: null-body=0\r\n")).status(), 200U);
    EXPECT_EQ(client_.ask(request("OPTIONS", "Preview: 99999999\r\nAllow: 204\r\n")).status(), 200U);
}

TEST_F(leniency, a_connection_ends_when_its_peer_wants_it)
{
    const std::string head = request("RESPMOD", "connection:\tCLOSE\r\n" + encapsulated("res-body=0"));
    EXPECT_THAT(client_.ask(head + chunk(condemned_) + std::string(end_mark)).object(), HasSubstr("EICAR"));
    EXPECT_TRUE(client_.closed_by_service());
}

TEST_F(leniency, ends_where_parts_and_method_do_not_fit)
{
    const std::string size = std::to_string(http_response.size());
    for (const std::string& lines : {encapsulated("res-hdr=5, res-body=" + size), encapsulated("res-body=5"),
                                     encapsulated("res-hdr=0, res-body=0"), encapsulated("req-body=0"),
                                     encapsulated("res-hdr=0"), encapsulated("opt-body=0"), std::string()}) {
        wire_client client = server_.client();
        EXPECT_EQ(client.ask(request("RESPMOD", lines, http_response)).status(), 400U) << lines;
    }
    wire_client client = server_.client();
    EXPECT_EQ(client.ask(request("REQMOD", encapsulated("res-body=0"))).status(), 400U);
}

} // namespace leniency_test
