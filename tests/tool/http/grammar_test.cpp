#include "tests/support/every_split.h"
#include "tests/tool/http/http_text.h"
#include "tool/http/grammar.h"
#include "tool/http/grammar_rules.h"
#include "tool/http/method_words.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using http::chunk_line;
using http::request_data;
using http::response_data;
using namespace std::string_view_literals;

auto icap_request(std::string_view text)
{
    return test::parse<request_data>(&http::parse_icap_request, text);
}
auto icap_response(std::string_view text)
{
    return test::parse<response_data>(&http::parse_icap_response, text);
}
auto http_request(std::string_view text)
{
    return test::parse<request_data>(&http::parse_http_request, text);
}
auto extension_request(std::string_view text)
{
    return test::parse<request_data>(&http::parse_http_extension_request, text);
}
auto http_response(std::string_view text)
{
    return test::parse<response_data>(&http::parse_http_response, text);
}
auto uri(std::string_view text)
{
    return test::parse<http::uri_data>(&http::parse_uri, text);
}
auto chunk_size(std::string_view text)
{
    return test::parse<chunk_line>(&http::parse_chunk_size, text);
}
auto last_chunk(std::string_view text)
{
    return test::parse<chunk_line>(&http::parse_last_chunk, text);
}

TEST(grammar, every_field_of_an_icap_request_is_stored)
{
    const auto head = icap_request("REQMOD icap://127.0.0.1:1344/scan ICAP/1.0\r\nHost: 127.0.0.1\r\n\r\nrest");
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("REQMOD", head->record.method);
    EXPECT_EQ("icap://127.0.0.1:1344/scan", head->record.uri);
    EXPECT_EQ("ICAP", head->record.protocol);
    EXPECT_EQ("1.0", head->record.version);
    EXPECT_EQ("127.0.0.1", head->record.fields.at("host"));
    EXPECT_EQ("rest", head->text.substr(head->length));
}

TEST(grammar, every_field_of_a_response_is_stored)
{
    for (const bool icap : {true, false}) {
        const std::string text = std::string(icap ? "ICAP" : "HTTP") + "/1.1 404 Not Found\r\nA: b\r\n\r\n";
        const auto head = icap ? icap_response(text) : http_response(text);
        ASSERT_TRUE(head->hit);
        EXPECT_EQ(icap ? "ICAP" : "HTTP", head->record.protocol);
        EXPECT_EQ("1.1", head->record.version);
        EXPECT_EQ(404U, head->record.status);
        EXPECT_EQ("Not Found", head->record.reason);
        EXPECT_EQ("b", head->record.fields.at("A"));
        EXPECT_FALSE((icap ? http_response(text) : icap_response(text))->hit);
    }
}

TEST(grammar, icap_methods_are_three_words_in_capitals)
{
    for (const std::string method : {"REQMOD", "RESPMOD", "OPTIONS"}) {
        EXPECT_TRUE(icap_request(method + " /x ICAP/1.0\r\n\r\n")->hit) << method;
    }
    for (const std::string method : {"reqmod", "GET", "REQMODX", "LOGMOD"}) {
        EXPECT_FALSE(icap_request(method + " /x ICAP/1.0\r\n\r\n")->hit) << method;
    }
}

TEST(grammar, every_method_word_of_three_groups_is_read)
{
    std::size_t words = 0;
    for (const auto group : {http::basic_methods(), http::dav_methods(), http::versioning_methods()}) {
        for (const std::string_view word : group) {
            const auto head = http_request(std::string(word) + " / HTTP/1.1\r\n\r\n");
            EXPECT_TRUE(head->hit) << word;
            EXPECT_EQ(word, head->record.method);
            ++words;
        }
    }
    EXPECT_EQ(38U, words);
}

TEST(grammar, no_method_word_begins_another_so_the_order_decides_nothing)
{
    std::vector<std::string_view> words;
    for (const auto group : {http::basic_methods(), http::dav_methods(), http::versioning_methods()}) {
        words.insert(words.end(), group.begin(), group.end());
    }
    for (const std::string_view one : words) {
        for (const std::string_view other : words) {
            EXPECT_TRUE(one == other || !other.starts_with(one)) << one << " " << other;
        }
    }
}

TEST(grammar, rpc_words_are_read_as_unusual_methods)
{
    for (const std::string_view word : {"CCM_POST"sv, "RPC_CONNECT"sv, "RPC_OUT_DATA"sv, "RPC_IN_DATA"sv}) {
        const std::string text = std::string(word) + " / HTTP/1.1\r\n\r\n";
        EXPECT_FALSE(http_request(text)->hit) << word;
        const auto head = extension_request(text);
        EXPECT_TRUE(head->hit) << word;
        EXPECT_EQ(word, head->record.method);
    }
    EXPECT_EQ(4U, http::rpc_methods().size());
}

TEST(grammar, an_unusual_request_stores_all_but_the_protocol)
{
    const auto head = extension_request("FOO /x HTTP/1.1\r\nA: b\r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("FOO", head->record.method);
    EXPECT_EQ("/x", head->record.uri);
    EXPECT_EQ("1.1", head->record.version);
    EXPECT_TRUE(head->record.protocol.empty());
    EXPECT_EQ("b", head->record.fields.at("A"));
}

TEST(grammar, unusual_methods_hold_no_lower_case_no_separators_and_no_high_bytes)
{
    EXPECT_TRUE(extension_request("!#$|^_1 / HTTP/1.1\r\n\r\n")->hit);
    for (const std::string method : {"foo", "FOo", "F/O", "F}", "F~", "F\xC4"}) {
        EXPECT_FALSE(extension_request(method + " / HTTP/1.1\r\n\r\n")->hit) << method;
    }
    EXPECT_FALSE(extension_request("FOO /a b HTTP/1.1\r\n\r\n")->hit);
}

TEST(grammar, lower_case_method_is_refused_by_both_request_grammars)
{
    EXPECT_FALSE(http_request("get / HTTP/1.1\r\n\r\n")->hit);
    EXPECT_FALSE(extension_request("get / HTTP/1.1\r\n\r\n")->hit);
}

TEST(grammar, http_uri_may_hold_blanks_and_stops_at_the_last_word_before_the_version)
{
    EXPECT_EQ("/a b", http_request("GET /a b HTTP/1.1\r\n\r\n")->record.uri);
    EXPECT_EQ("/a  b", http_request("GET /a  b \t HTTP/1.1\r\n\r\n")->record.uri);
    EXPECT_EQ("/HTTP", http_request("GET /HTTP HTTP/1.1\r\n\r\n")->record.uri);
    EXPECT_EQ("/\x05x", http_request("GET /\x05x HTTP/1.1\r\n\r\n")->record.uri);
    EXPECT_FALSE(http_request("GET /\x04x HTTP/1.1\r\n\r\n")->hit);
    EXPECT_FALSE(http_request("GET /a\tb HTTP/1.1\r\n\r\n")->hit);
    EXPECT_FALSE(http_request("GET /a HTTP HTTP/1.1\r\n\r\n")->hit);
}

TEST(grammar, an_icap_target_holds_no_blanks_and_any_other_byte_above)
{
    EXPECT_FALSE(icap_request("REQMOD /a b ICAP/1.0\r\n\r\n")->hit);
    EXPECT_EQ("/\xFF!", icap_request("REQMOD /\xFF! ICAP/1.0\r\n\r\n")->record.uri);
}

TEST(grammar, any_version_passes)
{
    EXPECT_EQ("9.9", icap_response("ICAP/9.9 200 OK\r\n\r\n")->record.version);
    EXPECT_TRUE(icap_response("ICAP/9.9 200 OK\r\n\r\n")->hit);
    EXPECT_FALSE(icap_response("ICAP/ 200 OK\r\n\r\n")->hit);
}

TEST(grammar, line_ends_are_lf_crlf_crcrlf_and_blanks_before_them)
{
    for (const std::string end : {"\n", "\r\n", "\r\r\n", " \r\n", "  \n"}) {
        EXPECT_TRUE(http_response("HTTP/1.1 200 OK" + end + end)->hit) << testing::PrintToString(end);
        EXPECT_TRUE(http_response("HTTP/1.1 200 OK" + end + "A:b" + end + "\n")->hit) << testing::PrintToString(end);
    }
}

TEST(grammar, a_line_of_blanks_behind_a_header_is_a_fold_and_does_not_end_the_head)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nA: b\r\n  \r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("b\r\n  ", head->record.fields.at("A"));
    EXPECT_FALSE(http_response("HTTP/1.1 200 OK\r\nA: b\r\n  \r\n")->hit);
}

TEST(grammar, cr_alone_never_ends_a_line)
{
    const auto head = http_response("HTTP/1.1 200 OK\rA: b\r\r");
    EXPECT_FALSE(head->hit);
    EXPECT_EQ("OK", head->record.reason);
    EXPECT_TRUE(head->record.fields.empty());
}

TEST(grammar, tabs_ahead_of_a_line_end_are_not_skipped)
{
    const char* at = "\t\r\n";
    EXPECT_FALSE(http::rules::eol(at, at + 3));
    EXPECT_FALSE(icap_request("REQMOD /x ICAP/1.0\t\r\n\r\n")->hit);
}

TEST(grammar, a_header_name_runs_to_the_colon_junk_included)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nName : value\r\nContent Length : 5\r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_FALSE(head->record.fields.contains("Name"));
    EXPECT_EQ("value", head->record.fields.at("Name "));
    EXPECT_EQ("5", head->record.fields.at("Content Length "));
}

TEST(grammar, a_line_without_colon_runs_on_to_the_colon_of_a_later_line)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nFoo\r\nBar: x\r\n\r\n");
    ASSERT_TRUE(head->hit);
    ASSERT_EQ(1U, head->record.fields.size());
    EXPECT_EQ("Foo\r\nBar", head->record.fields.begin()->first);
    EXPECT_EQ("x", head->record.fields.begin()->second);
}

TEST(grammar, without_any_colon_the_head_does_not_match)
{
    EXPECT_FALSE(http_response("HTTP/1.1 200 OK\r\nFoo\r\n\r\n")->hit);
}

TEST(grammar, a_name_that_begins_with_a_separator_or_a_high_byte_ends_the_headers)
{
    for (const std::string line : {":x", "\xE4: x", " a: x", "\x7F\x80:x"}) {
        const auto head = http_response("HTTP/1.1 200 OK\r\nA: b\r\n" + line + "\r\n\r\n");
        EXPECT_EQ(line == " a: x" || line == "\x7F\x80:x", head->hit) << testing::PrintToString(line);
        EXPECT_TRUE(head->record.fields.contains("A"));
    }
}

TEST(grammar, behind_its_first_byte_a_name_may_hold_anything)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nN\xE4\x01: x\r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_TRUE(head->record.fields.contains("N\xE4\x01"));
}

TEST(grammar, a_header_with_an_empty_value_is_stored)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nEmpty:\r\nBlank:   \r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("", head->record.fields.at("Empty"));
    EXPECT_EQ("", head->record.fields.at("Blank"));
}

TEST(grammar, blanks_ahead_of_a_value_go_and_tabs_and_trailing_blanks_stay)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nA:  \tb \t\r\n\r\n");
    EXPECT_EQ("\tb \t", head->record.fields.at("A"));
}

TEST(grammar, a_value_holds_control_bytes_and_nul_but_no_bare_cr)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nA: \x01\0\xFFz\r\n\r\n"sv);
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("\x01\0\xFFz"sv, head->record.fields.at("A"));
    EXPECT_FALSE(http_response("HTTP/1.1 200 OK\r\nA: b\rc\r\n\r\n")->hit);
}

TEST(grammar, a_folded_header_keeps_line_end_and_blanks_in_its_value)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nA: b\r\n \tc\r\nD: e\r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_EQ("b\r\n \tc", head->record.fields.at("A"));
    EXPECT_EQ("e", head->record.fields.at("D"));
}

TEST(grammar, of_two_headers_with_one_name_the_first_counts)
{
    const auto head = http_response("HTTP/1.1 200 OK\r\nISTag: 1\r\nistag: 2\r\n\r\n");
    EXPECT_EQ("1", head->record.fields.at("ISTag"));
    EXPECT_EQ(1U, head->record.fields.size());
}

TEST(grammar, a_status_has_exactly_three_digits)
{
    for (const std::string status : {"20", "2000", "2", "", "2x0"}) {
        EXPECT_FALSE(icap_response("ICAP/1.0 " + status + " OK\r\n\r\n")->hit) << status;
    }
    EXPECT_EQ(7U, icap_response("ICAP/1.0 007 OK\r\n\r\n")->record.status);
}

TEST(grammar, nothing_behind_the_status_is_an_empty_reason)
{
    const auto head = icap_response("ICAP/1.0 204\r\n\r\n");
    ASSERT_TRUE(head->hit);
    EXPECT_TRUE(head->record.reason.empty());
    EXPECT_TRUE(icap_response("ICAP/1.0 204 \t\r\n\r\n")->hit);
    EXPECT_EQ("OK", icap_response("ICAP/1.0 204OK\r\n\r\n")->record.reason);
}

TEST(grammar, a_tab_in_the_reason_fails_the_line)
{
    const auto head = icap_response("ICAP/1.0 200 a\tb\r\n\r\n");
    EXPECT_FALSE(head->hit);
    EXPECT_EQ("a", head->record.reason);
}

TEST(grammar, fields_stay_filled_after_a_failed_parse)
{
    const auto head = http_request("GET /x HTTP/1.1\r\nA: b\r\nC: d");
    EXPECT_FALSE(head->hit);
    EXPECT_EQ("GET", head->record.method);
    EXPECT_EQ("/x", head->record.uri);
    EXPECT_EQ("HTTP", head->record.protocol);
    EXPECT_EQ("1.1", head->record.version);
    EXPECT_EQ("b", head->record.fields.at("A"));
    // The line was read before its missing line end was noticed.
    EXPECT_EQ("d", head->record.fields.at("C"));
    EXPECT_EQ("C: d", head->text.substr(head->length));
}

TEST(grammar, the_protocol_is_stored_before_its_slash_is_looked_for)
{
    const auto head = http_request("GET /x HTTP");
    EXPECT_EQ("HTTP", head->record.protocol);
    EXPECT_TRUE(head->record.version.empty());
}

TEST(grammar, no_grammar_reads_beyond_any_cut)
{
    const std::string_view texts[] = {"REQMOD icap://h/s ICAP/1.0\r\nA: b\r\n c\r\nD\r\nE: f\r\n\r\n",
                                      "ICAP/1.0 200 OK\r\nA: b\r\n\r\n",
                                      "POST /a b HTTP/1.1\r\nA: b\r\n\r\n",
                                      "FOO / HTTP/1.1\r\n\r\n",
                                      "1a;x=\"y\\\"z\r\n t\" u\r\n",
                                      "0;ieof\r\n\r\nA: b\r\n\r\n",
                                      "icap://host:1/a/b?c#d"};
    for (const std::string_view text : texts) {
        test::every_beginning(text, [&](std::string_view cut) {
            request_data request;
            response_data response;
            chunk_line line;
            http::uri_data parts;
            const char* begin = cut.data();
            const char* end = begin + cut.size();
            for (const auto& info :
                 {http::parse_icap_request(begin, end, request), http::parse_http_request(begin, end, request),
                  http::parse_http_extension_request(begin, end, request),
                  http::parse_icap_response(begin, end, response), http::parse_http_response(begin, end, response),
                  http::parse_chunk_size(begin, end, line), http::parse_last_chunk(begin, end, line),
                  http::parse_uri(begin, end, parts)}) {
                EXPECT_LE(begin, info.stop);
                EXPECT_LE(info.stop, end);
            }
        });
    }
}

TEST(grammar, a_chunk_size_is_hexadecimal_of_at_most_32_bits)
{
    EXPECT_EQ(0xABCU, chunk_size("aBc\r\n")->record.size);
    EXPECT_EQ(0xFFFFFFFFU, chunk_size("FFFFFFFF\r\n")->record.size);
    EXPECT_EQ(1U, chunk_size("0000000000001\r\n")->record.size);
    EXPECT_FALSE(chunk_size("100000000\r\n")->hit);
    EXPECT_FALSE(chunk_size("x\r\n")->hit);
    EXPECT_FALSE(chunk_size("\r\n")->hit);
}

TEST(grammar, a_chunk_line_may_have_blanks_and_an_extension)
{
    EXPECT_TRUE(chunk_size("a  \r\n")->hit);
    EXPECT_TRUE(chunk_size("a\t\n")->hit);
    EXPECT_EQ(";name=value", chunk_size("a;name=value\r\n")->record.extension);
    EXPECT_EQ("; any words, \"even this", chunk_size("a ; any words, \"even this\r\n")->record.extension);
    EXPECT_TRUE(chunk_size("a;\r\n")->hit);
    EXPECT_FALSE(chunk_size("a b\r\n")->hit);
    EXPECT_FALSE(chunk_size("a;\xE4\r\n")->hit);
}

TEST(grammar, a_quoted_extension_holds_escapes_folds_and_high_bytes)
{
    for (const std::string value : {"\"q\"", "\"\\\"\"", "\"\xE4\"", "\"a\r\n b\"", "\"\t\"", "\"\\\xE4\""}) {
        const auto line = chunk_size("a;x=" + value + "\r\n");
        EXPECT_TRUE(line->hit) << testing::PrintToString(value);
        EXPECT_EQ(";x=" + value, line->record.extension);
    }
    EXPECT_FALSE(chunk_size("a;x=\"\xE4\r\n")->hit);
    EXPECT_FALSE(chunk_size("a;x=\"b\"\xE4\r\n")->hit);
}

TEST(grammar, a_run_of_zeros_is_a_last_chunk_and_a_number_with_zero_ahead_is_not)
{
    EXPECT_TRUE(last_chunk("0\r\n\r\n")->hit);
    EXPECT_TRUE(last_chunk("000\r\n\r\n")->hit);
    EXPECT_FALSE(last_chunk("0A\r\n\r\n")->hit);
    EXPECT_FALSE(last_chunk("0\r\n")->hit);
    EXPECT_FALSE(last_chunk("1\r\n\r\n")->hit);
}

TEST(grammar, trailers_are_found_ahead_of_and_behind_a_blank_line)
{
    EXPECT_EQ("A: b\r\n", last_chunk("0\r\nA: b\r\n\r\n")->record.trailers);
    const auto behind = last_chunk("0\r\n\r\nA: b\r\nC: d\r\n\r\nrest");
    EXPECT_TRUE(behind->hit);
    EXPECT_EQ("A: b\r\nC: d\r\n", behind->record.trailers);
    EXPECT_EQ("rest", behind->text.substr(behind->length));
    const auto open = last_chunk("0\r\n\r\nA: b\r\nrest");
    EXPECT_TRUE(open->hit);
    EXPECT_EQ("rest", open->text.substr(open->length));
    EXPECT_FALSE(last_chunk("0\r\nA: b\r\n")->hit);
}

TEST(grammar, a_uri_falls_into_five_parts)
{
    const auto parts = uri("icap://user@host:1344/a/b?c#d");
    ASSERT_TRUE(parts->hit);
    EXPECT_EQ("icap", parts->record.scheme);
    EXPECT_EQ("user@host:1344", parts->record.authority);
    EXPECT_EQ("/a/b", parts->record.path);
    EXPECT_EQ("c", parts->record.query);
    EXPECT_EQ("d", parts->record.fragment);
}

TEST(grammar, without_a_mark_the_scheme_takes_the_start_of_the_authority)
{
    const auto parts = uri("host.name:80/x");
    ASSERT_TRUE(parts->hit);
    EXPECT_EQ("host.name", parts->record.scheme);
    EXPECT_EQ(":80", parts->record.authority);
    EXPECT_EQ("/x", parts->record.path);
}

TEST(grammar, a_uri_path_ends_at_the_first_other_byte_and_still_matches)
{
    const auto parts = uri("/a/b.html?c");
    ASSERT_TRUE(parts->hit);
    EXPECT_EQ("/a/b", parts->record.path);
    EXPECT_EQ(".html?c", parts->text.substr(parts->length));
    EXPECT_TRUE(parts->record.query.empty());
}

TEST(grammar, a_uri_without_path_does_not_match)
{
    EXPECT_FALSE(uri("icap://host")->hit);
    EXPECT_FALSE(uri("")->hit);
    EXPECT_FALSE(uri("\xE4/")->hit);
    EXPECT_TRUE(uri("://h/")->hit);
    EXPECT_TRUE(uri("/")->hit);
    EXPECT_TRUE(uri("1host/")->hit);
}

} // namespace
