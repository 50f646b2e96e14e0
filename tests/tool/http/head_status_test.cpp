#include "tool/http/analyzer_core.h"
#include "tool/http/grammar.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

namespace {

using http::head_status;
using http::parse_info;
using http::request_data;
using http::response_data;

constexpr std::array<std::string_view, 2> words{"REQMOD", "OPTIONS"};

bool known(const char* begin, const char* end)
{
    return http::begins_word(begin, end, words);
}

head_status as_request(std::string_view text)
{
    request_data record;
    const char* end = text.data() + text.size();
    const auto parsed = http::parse_icap_request(text.data(), end, record);
    return http::request_test(record, parsed, text.data(), end, &known);
}

head_status as_http_request(std::string_view text)
{
    request_data record;
    const char* end = text.data() + text.size();
    const auto parsed = http::parse_http_request(text.data(), end, record);
    return http::request_test(record, parsed, text.data(), end, &known);
}

head_status as_response(std::string_view text)
{
    response_data record;
    const char* end = text.data() + text.size();
    const auto parsed = http::parse_icap_response(text.data(), end, record);
    return http::response_test(record, parsed, text.data(), end);
}

/// Runs the request test on a record and a stop that need not come from a grammar.
head_status tested(std::string_view text, std::size_t stop, const request_data& record)
{
    return http::request_test(record, {false, text.data() + stop}, text.data(), text.data() + text.size(), &known);
}

request_data with_method()
{
    request_data record;
    record.method = "REQMOD";
    return record;
}

TEST(request_test, a_match_is_complete)
{
    EXPECT_EQ(head_status::complete, as_request("REQMOD /x ICAP/1.0\r\n\r\n"));
}

TEST(request_test, the_beginning_of_a_method_word_is_partial_in_any_case)
{
    EXPECT_EQ(head_status::partial, as_request("REQ"));
    EXPECT_EQ(head_status::partial, as_request("req"));
    EXPECT_EQ(head_status::invalid, as_request("REQX"));
    EXPECT_EQ(head_status::invalid, as_request("reqmod /x ICAP/1.0\r\n\r\n"));
    EXPECT_EQ(head_status::invalid, as_request(""));
}

TEST(request_test, no_method_is_invalid)
{
    EXPECT_EQ(head_status::invalid, as_request("XYZ /x ICAP/1.0\r\n\r\n"));
}

TEST(request_test, a_method_at_the_end_of_the_data_is_partial)
{
    EXPECT_EQ(head_status::partial, as_request("REQMOD"));
    EXPECT_EQ(head_status::partial, as_request("REQMOD "));
    EXPECT_EQ(head_status::partial, as_request("REQMOD \t"));
}

TEST(request_test, a_method_with_no_gap_behind_it_is_invalid)
{
    EXPECT_EQ(head_status::invalid, as_request("REQMODX"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD\r\n"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD \r\n"));
}

TEST(request_test, a_target_without_a_version_is_partial_until_the_line_ends)
{
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x"));
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x "));
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x IC"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD /x\r\n"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD /x\n"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD /x \r\n"));
    // Only a line end at the position where the parse stopped means that no version follows.
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x \x01"));
}

TEST(request_test, a_protocol_without_a_version_is_partial_at_the_end_and_invalid_elsewhere)
{
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x ICAP"));
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x ICAP/"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD /x ICAP \r\n"));
    EXPECT_EQ(head_status::invalid, as_request("REQMOD /x ICAP/\r\n"));
}

TEST(request_test, a_second_protocol_text_at_the_stop_is_read_on)
{
    // "ICAP" was stored, no "/" followed, and the parse stopped where the protocol text occurs again.
    request_data record = with_method();
    record.uri = "/x";
    record.protocol = "ICAP";
    const std::string_view whole = "REQMOD /x ICAPICAP/1.0\r\n";
    EXPECT_EQ(head_status::partial, tested(whole, 14, record));
    const std::string_view cut = "REQMOD /x ICAPICA";
    EXPECT_EQ(head_status::partial, tested(cut, 14, record));
    const std::string_view other = "REQMOD /x ICAPxyz";
    EXPECT_EQ(head_status::invalid, tested(other, 14, record));
}

TEST(request_test, without_a_uri_the_text_at_the_stop_must_be_gap_word_gap)
{
    const request_data record = with_method();
    EXPECT_EQ(head_status::invalid, tested("REQMODx", 6, record));
    EXPECT_EQ(head_status::partial, tested("REQMOD  ", 6, record));
    EXPECT_EQ(head_status::partial, tested("REQMOD /x", 6, record));
    EXPECT_EQ(head_status::partial, tested("REQMOD /x y", 6, record));
    EXPECT_EQ(head_status::invalid, tested("REQMOD /x\r\n", 6, record));
    EXPECT_EQ(head_status::invalid, tested("REQMOD \x01", 6, record));
}

TEST(request_test, a_parse_that_stopped_at_its_first_byte_is_invalid)
{
    EXPECT_EQ(head_status::invalid, tested("REQMOD /x", 0, with_method()));
}

TEST(request_test, behind_the_start_line_nothing_is_invalid)
{
    for (const std::string headers : {"", "\r", ":x\r\n\r\n", "\xE4: x\r\n\r\n", "A: b\rc\r\n\r\n", "Foo\r\n\r\n"}) {
        EXPECT_EQ(head_status::partial, as_request("REQMOD /x ICAP/1.0\r\n" + headers))
            << testing::PrintToString(headers);
    }
    EXPECT_EQ(head_status::partial, as_request("REQMOD /x ICAP/1.0\rX"));
}

TEST(request_test, serves_http_with_its_protocol)
{
    EXPECT_EQ(head_status::complete, as_http_request("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(head_status::partial, as_http_request("GET /a b"));
    EXPECT_EQ(head_status::invalid, as_http_request("GET /\r\n\r\n"));
    EXPECT_EQ(head_status::invalid, as_http_request("GET / HTTP\r\n"));
}

TEST(response_test, a_match_is_complete)
{
    EXPECT_EQ(head_status::complete, as_response("ICAP/1.0 204\r\n\r\n"));
}

TEST(response_test, the_beginning_of_a_response_is_partial_and_other_bytes_are_invalid)
{
    EXPECT_EQ(head_status::partial, as_response("I"));
    EXPECT_EQ(head_status::partial, as_response("IC"));
    EXPECT_EQ(head_status::partial, as_response("ICAP/"));
    EXPECT_EQ(head_status::invalid, as_response("ICAX"));
    EXPECT_EQ(head_status::invalid, as_response("ICAP/ 200"));
    EXPECT_EQ(head_status::invalid, as_response("X"));
    EXPECT_EQ(head_status::invalid, as_response(""));
}

TEST(response_test, with_a_version_everything_is_partial)
{
    EXPECT_EQ(head_status::partial, as_response("ICAP/1.0"));
    EXPECT_EQ(head_status::partial, as_response("ICAP/1.0 20"));
    EXPECT_EQ(head_status::partial, as_response("ICAP/1.0 2000 OK\r\n\r\n"));
    EXPECT_EQ(head_status::partial, as_response("ICAP/1.0 200 OK\r\n:x\r\n\r\n"));
    EXPECT_EQ(head_status::partial, as_response("ICAP/1.0 200 OK\rA: b\r\r"));
}

TEST(response_test, a_stop_six_bytes_in_without_a_version_is_invalid_even_at_the_end)
{
    const std::string_view text = "ICAP/x";
    const response_data record;
    const auto at = [&](std::size_t stop) {
        return http::response_test(record, {false, text.data() + stop}, text.data(), text.data() + stop);
    };
    EXPECT_EQ(head_status::partial, at(5));
    EXPECT_EQ(head_status::invalid, at(6));
    EXPECT_EQ(head_status::invalid, at(0));
}

TEST(head_status, a_word_is_begun_by_shorter_text_of_any_case_only)
{
    const auto begins = [](std::string_view text) {
        return http::begins_word(text.data(), text.data() + text.size(), words);
    };
    EXPECT_TRUE(begins("r"));
    EXPECT_TRUE(begins("OPTION"));
    EXPECT_FALSE(begins("OPTIONS"));
    EXPECT_FALSE(begins(""));
    EXPECT_FALSE(begins("X"));
}

TEST(head_status, line_ends_ahead_of_a_head_are_skipped)
{
    const std::string_view text = "\r\n \n\r\r\nA\r\n";
    EXPECT_EQ('A', *http::skip_line_ends(text.data(), text.data() + text.size()));
    const std::string_view none = "  A";
    EXPECT_EQ(none.data(), http::skip_line_ends(none.data(), none.data() + none.size()));
}

} // namespace
