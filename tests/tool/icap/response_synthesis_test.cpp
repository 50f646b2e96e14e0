#include "tests/tool/icap/icap_text.h"
#include "tool/icap/async_response.h"
#include "tool/icap/reply_readers.h"
#include "tool/icap/response_synthesis.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using test::header_of;
using test::raised;

icap::server_options options()
{
    icap::server_options made;
    made.service_name = "Scanner";
    made.preview = "4096";
    made.methods = {"REQMOD", "RESPMOD"};
    made.allow = {"204", "206"};
    made.transfer_preview = {"exe", "*"};
    return made;
}

TEST(make_empty_response, writes_the_whole_head)
{
    const auto message = icap::make_empty_response("\"tag\"", 204, options(), false);
    EXPECT_EQ(test::text_of(message->raw_head()),
              "ICAP/1.0 204 No Content\r\nDate: " + header_of(*message, "Date") +
                  "\r\nService: Scanner\r\nService-ID: TRAL\r\nISTag: \"tag\"\r\nConnection: keep-alive\r\n"
                  "Encapsulated: null-body=0\r\n\r\n");
    EXPECT_EQ(header_of(*message, "Date").size(), std::string("Thu, 01 Jan 1970 00:00:00 -0000").size());
}

TEST(make_empty_response, is_complete_at_once)
{
    const auto message = icap::make_empty_response("\"tag\"", 200, options(), false);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(message->body_type(), icap::response_body_type::none);
    EXPECT_EQ(test::wire_of(*message), test::text_of(message->raw_head()));
}

TEST(make_empty_response, words_the_status)
{
    const auto line = [](std::uint32_t status) {
        const auto message = icap::make_empty_response("t", status, options(), false);
        EXPECT_EQ(message->status(), status);
        return std::string(message->record().reason);
    };
    EXPECT_EQ(line(100), "Continue");
    EXPECT_EQ(line(200), "OK");
    EXPECT_EQ(line(201), "Created");
    EXPECT_EQ(line(204), "No Content");
    EXPECT_EQ(line(400), "Bad request");
    EXPECT_EQ(line(404), "OK");
    EXPECT_EQ(line(500), "OK");
}

TEST(make_empty_response, tells_whether_the_connection_closes)
{
    EXPECT_EQ(header_of(*icap::make_empty_response("t", 204, options(), true), "Connection"), "close");
    EXPECT_EQ(header_of(*icap::make_empty_response("t", 204, options(), false), "Connection"), "keep-alive");
}

TEST(make_empty_response, checks_its_arguments)
{
    EXPECT_EQ(raised<std::invalid_argument>([] { (void)icap::make_empty_response(nullptr, 204, options(), false); }),
              "istag can not be null");
    EXPECT_EQ(raised<std::invalid_argument>([] { (void)icap::make_empty_response("", 204, options(), false); }),
              "istag can not be empty");
    EXPECT_EQ(raised<std::invalid_argument>([] { (void)icap::make_empty_response("t", 204, {}, false); }),
              "'server_options.service_name' can not be empty");
    EXPECT_EQ(raised<std::invalid_argument>([] { (void)icap::make_empty_response("", 204, {}, false); }),
              "istag can not be empty");
}

TEST(make_empty_response, raises_for_a_reply_that_cannot_be_read)
{
    EXPECT_EQ(raised<std::runtime_error>([] { (void)icap::make_empty_response("t", 20, options(), false); }),
              "could not create empty response message");
    EXPECT_EQ(raised<std::runtime_error>([] { (void)icap::make_empty_response("a\rb", 204, options(), false); }),
              "could not create empty response message");
}

TEST(make_empty_response, raises_for_a_reply_that_is_not_complete)
{
    EXPECT_EQ(raised<std::runtime_error>([] {
                  (void)icap::make_empty_response("t\r\nEncapsulated: res-hdr=0, res-body=9", 204, options(), false);
              }),
              "could not create empty response message: message does not complete");
}

TEST(make_empty_response, fills_each_word_once_at_its_first_place)
{
    icap::server_options with_word = options();
    with_word.service_name = "%ISTAG%";
    const auto message = icap::make_empty_response("tag", 204, with_word, false);
    EXPECT_EQ(header_of(*message, "Service"), "tag");
    EXPECT_EQ(header_of(*message, "ISTag"), "%ISTAG%");
}

TEST(make_empty_response, carries_a_page_set_afterwards)
{
    const auto message = icap::make_empty_response("\"tag\"", 200, options(), false);
    const std::string page = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});
    message->headers().add("X-Infection-Found", "Type=0;Resolution=2;Threat=X;");
    message->set_encapsulated(test::http_message(page + "hello"));
    const auto received = test::extract_reply(test::wire_of(*message));
    ASSERT_TRUE(received);
    EXPECT_TRUE(received->complete());
    EXPECT_EQ(received->body_type(), icap::response_body_type::response);
    EXPECT_EQ(test::body_of(received->response()), "hello");
    EXPECT_EQ(header_of(*received, "X-Infection-Found"), "Type=0;Resolution=2;Threat=X;");
}

TEST(make_options_response, writes_the_whole_head)
{
    const auto message = icap::make_options_response("\"tag\"", options());
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::text_of(message->raw_head()),
              "ICAP/1.0 200 OK\r\nDate: " + header_of(*message, "Date") +
                  "\r\nMethods: REQMOD, RESPMOD\r\nService: Scanner\r\nISTag: \"tag\"\r\n"
                  "Encapsulated: null-body=0\r\nService-ID: TRAL\r\nAllow: 204, 206\r\n"
                  "X-Allow-Out: X-Infection-Found, X-Violations-Found, X-Client-IP, X-Server-IP, "
                  "X-Authenticated-User, X-Authenticated-Groups\r\n"
                  "Max-Connections: 5120\r\nOptions-TTL: 3600\r\nPreview: 4096\r\nTransfer-Preview: exe, *\r\n\r\n");
}

TEST(make_options_response, writes_empty_lists_as_empty_values)
{
    const auto message = icap::make_options_response("t", {});
    EXPECT_EQ(header_of(*message, "Methods"), "");
    EXPECT_EQ(header_of(*message, "Allow"), "");
    EXPECT_EQ(header_of(*message, "Preview"), "");
    EXPECT_EQ(header_of(*message, "Transfer-Preview"), "");
}

TEST(make_options_response, joins_empty_words_too)
{
    icap::server_options made = options();
    made.allow = {"", "204"};
    EXPECT_EQ(header_of(*icap::make_options_response("t", made), "Allow"), ", 204");
}

TEST(make_options_response, is_understood_by_the_reply_readers)
{
    const std::shared_ptr<icap::message> message = icap::make_options_response("\"tag\"", options());
    EXPECT_EQ(icap::get_istag(message), "\"tag\"");
    EXPECT_EQ(icap::get_preview(message), 4096U);
    EXPECT_EQ(icap::get_methods(message), (std::vector<std::string>{"REQMOD", "", "RESPMOD"}));
}

TEST(make_options_response, raises_for_a_reply_that_cannot_be_read_or_is_not_complete)
{
    EXPECT_EQ(raised<std::runtime_error>([] { (void)icap::make_options_response("a\rb", options()); }),
              "could not create option response message");
    EXPECT_EQ(raised<std::runtime_error>(
                  [] { (void)icap::make_options_response("t\r\nEncapsulated: res-hdr=0, res-body=9", options()); }),
              "could not create option response message: message does not complete");
}

} // namespace
