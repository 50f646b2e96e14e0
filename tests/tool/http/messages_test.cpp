#include "tests/tool/http/http_text.h"
#include "tool/http/content_values.h"
#include "tool/http/header_names.h"
#include "tool/http/message_factory.h"
#include "tool/http/messages.h"
#include "tool/http/method_words.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

#include <ctime>
#include <stdexcept>
#include <string>

namespace {

using test::extract_message;

std::unique_ptr<http::message> response_with(const std::string& headers, std::string_view body = {})
{
    auto message = extract_message("HTTP/1.1 200 OK\r\n" + headers + "\r\n");
    if (message) {
        test::append_all(*message, body);
    }
    return message;
}

std::unique_ptr<web::io_data> store_of(std::string_view text)
{
    auto store = web::make_body_store(text.size());
    store->append(text.data(), text.size());
    return store;
}

TEST(method_id, every_method_has_its_number)
{
    const std::pair<std::string_view, std::uint32_t> methods[] = {{"OPTIONS", 1},
                                                                  {"GET", 2},
                                                                  {"HEAD", 3},
                                                                  {"POST", 4},
                                                                  {"PUT", 5},
                                                                  {"DELETE", 6},
                                                                  {"TRACE", 7},
                                                                  {"CONNECT", 8},
                                                                  {"BCOPY", 9},
                                                                  {"BDELETE", 10},
                                                                  {"BMOVE", 11},
                                                                  {"BPROPFIND", 12},
                                                                  {"BPROPPATCH", 13},
                                                                  {"COPY", 14},
                                                                  {"LOCK", 15},
                                                                  {"MKCOL", 16},
                                                                  {"MOVE", 17},
                                                                  {"NOTIFY", 18},
                                                                  {"POLL", 19},
                                                                  {"PROPFIND", 20},
                                                                  {"PROPPATCH", 21},
                                                                  {"SEARCH", 22},
                                                                  {"SUBSCRIBE", 23},
                                                                  {"UNLOCK", 24},
                                                                  {"UNSUBSCRIBE", 25},
                                                                  {"X-MS-ENUMATTS", 26},
                                                                  {"VERSION-CONTROL", 27},
                                                                  {"CHECKOUT", 28},
                                                                  {"REPORT", 29},
                                                                  {"CHECKIN", 30},
                                                                  {"UNCHECKOUT", 31},
                                                                  {"UPDATE", 32},
                                                                  {"LABEL", 33},
                                                                  {"MERGE", 34},
                                                                  {"BASELINE-CONTROL", 35},
                                                                  {"MKACTIVITY", 36},
                                                                  {"MKWORKSPACE", 37},
                                                                  {"BITS_POST", 50},
                                                                  {"CCM_POST", 51},
                                                                  {"PATCH", 52}};
    for (const auto& [word, id] : methods) {
        EXPECT_EQ(id, http::method_id(word)) << word;
    }
}

TEST(method_id, case_is_ignored_and_other_words_are_zero)
{
    EXPECT_EQ(2U, http::method_id("get"));
    for (const std::string_view word : {"", "FOO", "GETX", "GE", "RPC_CONNECT", "RPC_OUT_DATA", "RPC_IN_DATA"}) {
        EXPECT_EQ(0U, http::method_id(word)) << word;
    }
}

TEST(content_kind, every_word_has_its_number_in_any_case)
{
    const std::pair<std::string_view, std::uint32_t> kinds[] = {
        {"application/json", 4}, {"audio/x", 5},  {"image/png", 6},
        {"message/rfc822", 7},   {"model/x", 8},  {"multipart/mixed", 9},
        {"text/plain", 10},      {"video/x", 11}, {"TEXT/PLAIN", 10},
        {"text/", 10},           {"plain", 0},    {"text", 0},
        {"texts/plain", 0},      {"", 0},         {"/", 0},
        {"font/woff", 0}};
    for (const auto& [value, kind] : kinds) {
        EXPECT_EQ(kind, http::content_kind_of(value)) << value;
    }
    EXPECT_EQ(10U, response_with("Content-Type: text/html; charset=utf-8\r\n")->content_kind());
    EXPECT_EQ(0U, response_with("")->content_kind());
}

TEST(encoding_kind, case_counts)
{
    const std::pair<std::string_view, std::uint32_t> encodings[] = {{"x-gzip", 1},   {"gzip", 1},    {"x-compress", 2},
                                                                    {"compress", 2}, {"deflate", 3}, {"GZIP", 0},
                                                                    {"br", 0},       {"", 0}};
    for (const auto& [value, kind] : encodings) {
        EXPECT_EQ(kind, http::encoding_kind_of(value)) << value;
    }
    EXPECT_EQ(3U, response_with("Content-Encoding: deflate\r\n")->encoding_kind());
    EXPECT_EQ(0U, response_with("")->encoding_kind());
}

TEST(content_range, three_numbers_or_all_ones)
{
    const auto bounds = response_with("Content-Range: bytes 0-499/1234\r\n")->content_range();
    EXPECT_EQ(0U, bounds.first);
    EXPECT_EQ(499U, bounds.last);
    EXPECT_EQ(1234U, bounds.total);
    for (const std::string value : {"bytes */1234", "bytes 0-499/*", "bytes 0-499", "bytes 0 499/1234",
                                    "bytes 0-499+1234", "Bytes 0-1/2", "0-1/2", ""}) {
        const auto none = response_with("Content-Range: " + value + "\r\n")->content_range();
        EXPECT_EQ(0xFFFFFFFFU, none.first) << value;
        EXPECT_EQ(0xFFFFFFFFU, none.last) << value;
        EXPECT_EQ(0xFFFFFFFFU, none.total) << value;
    }
    EXPECT_EQ(0xFFFFFFFFU, response_with("")->content_range().first);
    EXPECT_EQ(2U, http::content_range_of("bytes 0-1/2 and more").total);
}

TEST(decimal, is_read_as_a_32_bit_strtoul_reads_it)
{
    EXPECT_EQ(12U, http::decimal_of("12"));
    EXPECT_EQ(12U, http::decimal_of(" \t+12abc"));
    EXPECT_EQ(0U, http::decimal_of("abc"));
    EXPECT_EQ(0U, http::decimal_of(""));
    EXPECT_EQ(0U, http::decimal_of("-"));
    EXPECT_EQ(0xFFFFFFFFU, http::decimal_of("4294967295"));
    EXPECT_EQ(0xFFFFFFFFU, http::decimal_of("4294967296"));
    EXPECT_EQ(0xFFFFFFFFU, http::decimal_of("99999999999999999999999999"));
    EXPECT_EQ(0xFFFFFFFFU, http::decimal_of("-1"));
}

TEST(http_request, has_no_content_values)
{
    const auto message = extract_message(
        "GET / HTTP/1.1\r\nContent-Type: text/x\r\nContent-Encoding: gzip\r\nContent-Range: bytes 0-1/2\r\n\r\n");
    EXPECT_EQ(http::type_request, message->type());
    EXPECT_EQ(0U, message->content_kind());
    EXPECT_EQ(0U, message->encoding_kind());
    EXPECT_EQ(0xFFFFFFFFU, message->content_range().total);
}

TEST(http_message, keeps_id_flag_attachment_and_time_of_birth)
{
    const auto before = static_cast<std::uint32_t>(std::clock());
    const auto message = response_with("");
    const auto after = static_cast<std::uint32_t>(std::clock());
    EXPECT_LE(message->created() - before, after - before);
    EXPECT_EQ(0U, message->id());
    message->set_id(7);
    EXPECT_EQ(7U, message->id());
    EXPECT_FALSE(message->flag());
    message->flag(true);
    EXPECT_TRUE(message->flag());
    EXPECT_EQ(nullptr, message->attachment());
    const auto thing = std::make_shared<int>(3);
    message->attach(thing);
    EXPECT_EQ(thing, message->attachment());
    EXPECT_EQ(2U, message->type());
}

TEST(http_message, append_takes_no_more_than_the_length_and_nothing_when_complete)
{
    const auto message = response_with("Content-Length: 5\r\n");
    const std::string text = "abcdefgh";
    EXPECT_FALSE(message->complete());
    EXPECT_EQ(3U, message->append(text.data(), text.data() + 3));
    EXPECT_EQ(0U, message->append(text.data() + 3, text.data() + 3));
    EXPECT_EQ(2U, message->append(text.data() + 3, text.data() + 8));
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(0U, message->append(text.data() + 5, text.data() + 8));
    EXPECT_EQ("abcde", test::stored_body(*message));
    EXPECT_EQ(5U, message->body_size());
    EXPECT_EQ(message->raw_head().size() + 5, message->total_size());
}

TEST(http_message, of_unknown_length_is_never_complete)
{
    const auto message = response_with("", "abc");
    EXPECT_EQ(3U, message->body_size());
    EXPECT_FALSE(message->complete());
}

TEST(http_message, input_goes_to_append_and_set_completed_does_nothing)
{
    const auto message = response_with("Content-Length: 2\r\n");
    auto& entry = dynamic_cast<http::message2&>(*message);
    const std::string text = "abc";
    EXPECT_EQ(2U, entry.input(text.data(), text.data() + 3));
    entry.set_completed(false);
    EXPECT_TRUE(message->complete());
}

TEST(http_message, set_body_updates_the_length_header_to_the_new_size)
{
    const auto message = response_with("Content-Length: 5\r\nA: b\r\n", "abcde");
    message->set_body(store_of("xyz"));
    EXPECT_EQ("3", test::header_of(*message, "Content-Length"));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nA: b\r\nContent-Length: 3\r\n\r\n", test::text_of(message->raw_head()));
    EXPECT_TRUE(message->complete());
    EXPECT_EQ("xyz", test::stored_body(*message));
}

TEST(http_message, without_a_length_header_a_new_body_adds_none)
{
    const auto message = response_with("A: b\r\n", "abcde");
    const std::string before = test::text_of(message->raw_head());
    message->set_body(store_of("xyz"));
    EXPECT_EQ(before, test::text_of(message->raw_head()));
    EXPECT_FALSE(message->complete());
}

TEST(http_message, update_length_counts_what_was_changed_in_the_store)
{
    const auto message = response_with("Content-Length: 5\r\n", "abcde");
    message->body().size(2);
    message->update_length();
    EXPECT_EQ("2", test::header_of(*message, "Content-Length"));
    EXPECT_TRUE(message->complete());
}

TEST(http_message, accept_passes_the_message_to_the_entry_of_its_kind)
{
    class recorder final : public http::message_handler
    {
    public:
        void on_request(http::message& message, void* argument) override { note('q', message, argument); }
        void on_response(http::message& message, void* argument) override { note('s', message, argument); }
        std::string calls;
        const http::message* last = nullptr;

    private:
        void note(char kind, http::message& message, void* argument)
        {
            calls += kind;
            last = &message;
            *static_cast<int*>(argument) += 1;
        }
    };
    recorder handler;
    int count = 0;
    const auto request = extract_message("GET / HTTP/1.1\r\n\r\n");
    request->accept(handler, &count);
    EXPECT_EQ(request.get(), handler.last);
    const auto response = response_with("");
    response->accept(handler, &count);
    EXPECT_EQ(response.get(), handler.last);
    EXPECT_EQ("qs", handler.calls);
    EXPECT_EQ(2, count);
}

TEST(http_message_read, without_a_span_gives_head_and_body)
{
    const std::string body(10'000, 'b');
    const auto message = response_with("Content-Length: 10000\r\n", body);
    http::byte_vector out{'o', 'l', 'd'};
    EXPECT_TRUE(message->read(nullptr, out));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Length: 10000\r\n\r\n" + body, test::text_of(out));
}

TEST(http_message_read, spans_of_any_length_give_the_whole_in_order)
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n";
    const std::string whole = head + "123456789";
    for (std::uint64_t length = 1; length <= whole.size() + 1; ++length) {
        const auto message = response_with("Content-Length: 9\r\n", "123456789");
        http::read_span span{length, 0};
        http::byte_vector out;
        std::string read;
        while (message->read(&span, out)) {
            EXPECT_LE(out.size(), length);
            read += test::text_of(out);
            EXPECT_EQ(read.size(), span.offset);
        }
        EXPECT_EQ(whole, read);
        EXPECT_TRUE(out.empty());
    }
}

TEST(http_message_read, a_span_may_start_in_the_head_in_the_body_and_behind_both)
{
    const auto message = response_with("Content-Length: 9\r\n", "123456789");
    const std::uint64_t head = message->raw_head().size();
    http::byte_vector out;
    http::read_span across{6, head - 2};
    EXPECT_TRUE(message->read(&across, out));
    EXPECT_EQ("\r\n1234", test::text_of(out));
    EXPECT_EQ(head + 4, across.offset);
    http::read_span unlimited{~std::uint64_t{0}, head + 4};
    EXPECT_TRUE(message->read(&unlimited, out));
    EXPECT_EQ("56789", test::text_of(out));
    http::read_span behind{10, head + 100};
    EXPECT_FALSE(message->read(&behind, out));
    EXPECT_EQ(head + 100, behind.offset);
}

TEST(body_store, of_131070_bytes_stays_in_memory_and_of_131071_goes_to_a_file)
{
    const auto small = response_with("Content-Length: 131070\r\n");
    EXPECT_NE(nullptr, dynamic_cast<web::io_memory*>(&small->body()));
    const auto large = response_with("Content-Length: 131071\r\n");
    EXPECT_NE(nullptr, dynamic_cast<web::io_file*>(&large->body()));
    const auto unknown = response_with("");
    EXPECT_NE(nullptr, dynamic_cast<web::io_file*>(&unknown->body()));
    const auto chunked = extract_message("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
    EXPECT_NE(nullptr, dynamic_cast<web::io_file*>(&chunked->body()));
}

TEST(message_factory, a_type_that_is_neither_is_refused)
{
    const std::string head = "GET / HTTP/1.1\r\n\r\n";
    http::message_plan plan;
    plan.type = 3;
    plan.head_begin = head.data();
    plan.head_end = head.data() + head.size();
    try {
        (void)http::make_message(plan);
        FAIL() << "nothing raised";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ("http message type is undefined", failure.what());
    }
}

TEST(header_names, are_spelled_as_on_the_wire)
{
    namespace name = http::header_name;
    const std::pair<std::string_view, std::string_view> names[] = {{name::content_length, "Content-Length"},
                                                                   {name::transfer_encoding, "Transfer-Encoding"},
                                                                   {name::content_type, "Content-Type"},
                                                                   {name::host, "Host"},
                                                                   {name::content_encoding, "Content-Encoding"},
                                                                   {name::content_range, "Content-Range"},
                                                                   {name::cache_control, "Cache-Control"},
                                                                   {name::referer, "Referer"},
                                                                   {name::pragma, "Pragma"},
                                                                   {name::connection, "Connection"},
                                                                   {name::x_request_type, "X-RequestType"},
                                                                   {http::chunked_word, "chunked"}};
    for (const auto& [own, wire] : names) {
        EXPECT_EQ(wire, own);
    }
}

} // namespace
