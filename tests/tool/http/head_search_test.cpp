#include "tests/support/guarded_buffer.h"
#include "tests/tool/http/text_generator.h"
#include "tool/http/analyzer_core.h"
#include "tool/http/grammar.h"
#include "tool/http/head_search.h"
#include "tool/http/method_words.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace {

bool begins_basic_method(const char* begin, const char* end)
{
    return http::begins_word(begin, end, http::basic_methods());
}

/// The definition: every position is parsed, up to the first that can begin a request.
std::size_t defined_request_start(std::string_view text)
{
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end; ++at) {
        http::request_data record;
        const http::parse_info parsed = http::parse_http_request(at, end, record);
        if (http::request_test(record, parsed, at, end, &begins_basic_method) != http::head_status::invalid) {
            return static_cast<std::size_t>(at - text.data());
        }
    }
    return text.size();
}

std::size_t defined_response_start(std::string_view text)
{
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end; ++at) {
        http::response_data record;
        const http::parse_info parsed = http::parse_http_response(at, end, record);
        if (http::response_test(record, parsed, at, end) != http::head_status::invalid) {
            return static_cast<std::size_t>(at - text.data());
        }
    }
    return text.size();
}

void expect_same(std::string_view text)
{
    const test::guarded_buffer input(text);
    const auto place = [&](const char* found) { return static_cast<std::size_t>(found - input.begin()); };
    EXPECT_EQ(defined_request_start(input.view()), place(http::find_http_request(input.begin(), input.end())))
        << testing::PrintToString(text);
    EXPECT_EQ(defined_response_start(input.view()), place(http::find_http_response(input.begin(), input.end())))
        << testing::PrintToString(text);
}

std::string repeated(std::string_view unit, std::size_t count)
{
    std::string text;
    for (; count != 0; --count) {
        text += unit;
    }
    return text;
}

constexpr std::array<std::string_view, 34> fragments{
    "GET",    "GET ",     "POST\t", "BCOPY ",     "COPY", "PROPPATCH", "PATCH ",  "UNLOCK ", "OPTIONS  ",
    "CONN",   "get ",     "FOO ",   "a",          "/ab",  " ",         "  ",      "\t",      " \t ",
    "\x05",   "\x06",     "\r",     "\n",         "\r\n", "\x80",      "HTTP",    " HTTP",   "HTTP/",
    " HTTP/", "HTTP/1.1", "HTT",    "\tHTTP/1\n", "H",    ":",         "\r\n\r\n"};

TEST(head_search, finds_what_a_parse_of_every_position_finds)
{
    test::text_generator generator(21);
    std::size_t found = 0;
    std::size_t behind_others = 0;
    for (int round = 0; round < 20'000 && !testing::Test::HasFailure(); ++round) {
        std::string text;
        for (std::size_t count = generator.below(24); count != 0; --count) {
            text += fragments[generator.below(fragments.size())];
        }
        if (generator.chance(2)) {
            text += '\n'; // ends a request line, so that it cannot be continued
        }
        expect_same(text);
        const std::size_t start = defined_request_start(text);
        found += start != text.size() ? 1 : 0;
        behind_others += start != text.size() && text.substr(0, start).find("GET ") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(found, 3'000U);
    EXPECT_GT(behind_others, 300U) << "the search went on behind an invalid request line";
}

TEST(head_search, agrees_on_changed_heads_behind_garbage)
{
    test::text_generator generator(22);
    for (int round = 0; round < 5'000 && !testing::Test::HasFailure(); ++round) {
        std::string text = generator.chance(2) ? generator.word_salad(generator.below(12)) : generator.noise(20);
        text += generator.chance(2) ? "\n" : "";
        text += generator.mutated(generator.head());
        expect_same(text);
    }
}

TEST(head_search, agrees_where_many_request_lines_share_an_end)
{
    for (const std::string_view unit :
         {"GET a ", "GET\ta ", "GET  ", "GET", "GET \x05", "BCOPY a ", "PROPPATCH ", "GET a\t", "GET a\n", "HTTP", "H",
          "GET HTTP", "GET a HTTP ", "GET a HTTP/ ", "OPTIONS", " ", "\t"}) {
        const std::string many = repeated(unit, 40);
        for (const std::string_view end : {"",
                                           "\n",
                                           "\r",
                                           "\r\n",
                                           "\t",
                                           "\t\n",
                                           " HTTP",
                                           " HTTP\n",
                                           " HTTP/",
                                           " HTTP/\n",
                                           " HTTP/1.1",
                                           " HTTP/1.1\n",
                                           "\tHTTP",
                                           "\tHTTP\n",
                                           "\tHTTPX\n",
                                           "\x01",
                                           "\x80\n",
                                           "  \t  HTTP/\n",
                                           "\nGET ",
                                           "\nOPTION",
                                           "\nCONNEC",
                                           "\nCONNECT",
                                           "\nconnec",
                                           "\nBPROPPATC",
                                           "\nG",
                                           "\nPOST b\tX",
                                           "\nGET c HTTP/1.1\r\n\r\n",
                                           "\t\t\t\t\t\nPOST b c\n"}) {
            expect_same(many + std::string(end));
            expect_same(many + std::string(end) + many + "\n");
        }
    }
}

TEST(head_search, has_a_length_for_every_method_word)
{
    for (const auto group : {http::basic_methods(), http::dav_methods(), http::versioning_methods()}) {
        for (const std::string_view word : group) {
            EXPECT_EQ(word.size(), http::method_word_length(word));
            EXPECT_EQ(word.size(), http::method_word_length(std::string(word) + "x"));
            EXPECT_EQ(0U, http::method_word_length(word.substr(0, word.size() - 1))) << word;
        }
    }
    for (const std::string_view word : {"", "get", "@", "[", "Z", "RPC_CONNECT", "\x80"}) {
        EXPECT_EQ(0U, http::method_word_length(word)) << word;
    }
}

} // namespace
