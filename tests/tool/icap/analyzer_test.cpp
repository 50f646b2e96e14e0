#include "tests/support/every_split.h"
#include "tests/support/guarded_buffer.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/request_message.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using http::head_status;
using test::encapsulated;
using test::extract;
using test::last_chunk;
using test::raised;
using test::reply;

void enqueue(icap::analyzer& analyzer, std::string_view text)
{
    analyzer.enqueue(text.data(), text.data() + text.size());
}

head_status classify(std::string_view text)
{
    icap::analyzer analyzer;
    const test::guarded_buffer bytes(text);
    return analyzer.classify(bytes.begin(), bytes.end());
}

/// The bytes of a text that an analyzer drops, and those that it keeps.
struct sorted_text
{
    std::vector<std::string> dropped;
    std::string kept;
    std::unique_ptr<icap::message> made;
};

sorted_text sort(std::string_view text)
{
    sorted_text result;
    icap::analyzer analyzer;
    analyzer.on_skipped([&](const char* begin, const char* end) { result.dropped.emplace_back(begin, end); });
    enqueue(analyzer, text);
    result.made = analyzer.extract();
    result.kept = test::text_of(analyzer.take_cached());
    return result;
}

const std::string options_head = "OPTIONS icap://h/ ICAP/1.0\r\nHost: h\r\n\r\n";
const std::string clean_reply = reply(204, {"ISTag: \"t\"", "Encapsulated: null-body=0"});

// ---- classify

TEST(icap_analyzer, classifies_beginnings_of_method_words_as_partial)
{
    for (const char* text : {"R", "REQ", "req", "ReSp", "OPTION", "options", "REQMOD", "REQMOD ", "REQMOD /x",
                             "REQMOD /x ", "REQMOD /x I", "REQMOD /x ICAP/1.0", "REQMOD /x ICAP/1.0\r\nA: 1"}) {
        const bool whole_word_in_small_letters = std::string_view(text) == "options";
        EXPECT_EQ(classify(text), whole_word_in_small_letters ? head_status::invalid : head_status::partial) << text;
    }
}

TEST(icap_analyzer, classifies_other_bytes_as_invalid)
{
    for (const char* text :
         {"", "REQX", "X", "IC", "ICAP/1.0 204 No\r\n\r\n", "reqmod /x ICAP/1.0", "GET / HTTP/1.1"}) {
        EXPECT_EQ(classify(text), head_status::invalid) << text;
    }
}

TEST(icap_analyzer, classifies_a_whole_request_as_complete_also_behind_line_ends)
{
    EXPECT_EQ(classify(options_head), head_status::complete);
    EXPECT_EQ(classify("\r\n \n\r\r\n" + options_head), head_status::complete);
}

TEST(icap_analyzer, classifies_a_broken_header_behind_the_start_line_as_partial)
{
    EXPECT_EQ(classify("REQMOD /x ICAP/1.0\r\n:broken\r\n\r\n"), head_status::partial);
    EXPECT_EQ(classify("REQMOD /x ICAP/1.0\r\n\xFFname: x\r\n\r\n"), head_status::partial);
}

// ---- extract

TEST(icap_analyzer, gives_nothing_for_an_empty_cache)
{
    icap::analyzer analyzer;
    EXPECT_FALSE(analyzer.extract());
}

TEST(icap_analyzer, makes_a_request_and_a_reply)
{
    const auto request = extract(options_head);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->type(), icap::type_request);
    const auto answer = extract(clean_reply);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->type(), icap::type_response);
}

TEST(icap_analyzer, skips_blank_lines_ahead_of_a_message)
{
    for (const char* lines : {"\r\n\r\n", "\n", "  \r\n", "\r\r\n\n"}) {
        const auto answer = extract(lines + clean_reply);
        ASSERT_TRUE(answer) << testing::PrintToString(lines);
        EXPECT_EQ(test::text_of(answer->raw_head()), clean_reply);
    }
}

TEST(icap_analyzer, empties_its_cache_of_what_it_made)
{
    icap::analyzer analyzer;
    enqueue(analyzer, "\r\n" + clean_reply);
    EXPECT_TRUE(analyzer.extract());
    EXPECT_TRUE(analyzer.take_cached().empty());
}

TEST(icap_analyzer, keeps_a_partial_head_whole)
{
    for (const std::string text : {"REQ", "IC", "\r\n\r\nREQMOD icap", "\r\n\r\nICAP/1.0 2", "ICAP/1.0 20 x\r\n\r\n",
                                   "ICAP/1.0 2000 x\r\n\r\n", "OPTIONS icap://h/ ICAP/1.0\r\nHost: h\r\n"}) {
        const sorted_text result = sort(text);
        EXPECT_FALSE(result.made);
        EXPECT_TRUE(result.dropped.empty());
        EXPECT_EQ(result.kept, text);
    }
}

TEST(icap_analyzer, needs_no_encapsulated_header_in_a_request_for_options)
{
    EXPECT_TRUE(extract(options_head));
}

TEST(icap_analyzer, ignores_the_encapsulated_header_of_a_request_for_options)
{
    const auto request = test::extract_request("OPTIONS icap://h/ ICAP/1.0\r\nEncapsulated: nonsense\r\n\r\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->encapsulated(), icap::encapsulated_offsets{});
}

TEST(icap_analyzer, needs_an_encapsulated_header_in_all_else)
{
    for (const std::string& text : {reply(204, {}), reply(100, {}), test::reqmod({}), test::respmod({"Host: h"})}) {
        EXPECT_EQ(raised<std::runtime_error>([&] { (void)extract(text); }), "Encapsulated tag missed") << text;
    }
}

TEST(icap_analyzer, refuses_an_encapsulated_header_that_it_cannot_read)
{
    for (const char* value : {"NULL-BODY=0", "", "null-body", "\tnull-body=0"}) {
        EXPECT_EQ(
            raised<std::runtime_error>([&] { (void)extract(reply(204, {"Encapsulated: " + std::string(value)})); }),
            "Wrong format of Encapsulated tag ")
            << value;
    }
}

TEST(icap_analyzer, finds_the_encapsulated_header_in_any_case_and_only_behind_its_plain_name)
{
    EXPECT_TRUE(extract(reply(204, {"ENCAPSULATED:null-body=0"})));
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)extract(reply(204, {"Encapsulated : null-body=0"})); }),
              "Encapsulated tag missed");
}

TEST(icap_analyzer, accepts_words_behind_the_encapsulated_list)
{
    const auto answer = extract(reply(204, {"Encapsulated: null-body=0 trailing words"}));
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->complete());
}

TEST(icap_analyzer, refuses_a_reply_with_an_options_body)
{
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)extract(reply(200, {"Encapsulated: opt-body=0"})); }),
              "unknown type of body for response");
}

TEST(icap_analyzer, keeps_its_cache_when_a_step_fails)
{
    for (const std::string& text : {reply(204, {}), clean_reply + "x", clean_reply + clean_reply}) {
        icap::analyzer analyzer;
        enqueue(analyzer, text);
        EXPECT_THROW((void)analyzer.extract(), std::runtime_error);
        EXPECT_EQ(test::text_of(analyzer.take_cached()), text);
        EXPECT_TRUE(analyzer.take_cached().empty());
        enqueue(analyzer, clean_reply);
        EXPECT_TRUE(analyzer.extract());
    }
}

TEST(icap_analyzer, refuses_a_byte_behind_a_reply_that_is_complete_with_its_head)
{
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)extract(clean_reply + "x"); }),
              "request message has been completed");
    const std::string go_on = reply(100, {"Encapsulated: null-body=0"});
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)extract(go_on + clean_reply); }),
              "request message has been completed");
}

TEST(icap_analyzer, gives_the_bytes_behind_a_head_to_its_message)
{
    const auto answer = extract(test::page_reply(200, "hello"));
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->complete());
    EXPECT_EQ(test::body_of(answer->response()), "hello");
}

TEST(icap_analyzer, accepts_any_version)
{
    EXPECT_TRUE(extract("OPTIONS icap://h/ ICAP/9.9\r\n\r\n"));
    EXPECT_TRUE(extract("ICAP/9.9 204 x\r\nEncapsulated: null-body=0\r\n\r\n"));
}

TEST(icap_analyzer, takes_line_ends_of_bare_line_feeds)
{
    const auto answer = extract("ICAP/1.0 204\nEncapsulated: null-body=0\n\n");
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->complete());
}

TEST(icap_analyzer, takes_a_part_of_a_reply_only_when_asked_and_with_a_header)
{
    const std::string open = "ICAP/1.0 204 No\r\nEncapsulated: null-body=0\r\n";
    icap::analyzer analyzer;
    enqueue(analyzer, open);
    EXPECT_FALSE(analyzer.extract(false));
    const auto answer = analyzer.extract(true);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->type(), icap::type_response);
    EXPECT_EQ(test::text_of(answer->raw_head()), open);

    icap::analyzer bare;
    enqueue(bare, "ICAP/1.0 204 No\r\n");
    EXPECT_FALSE(bare.extract(true));
    icap::analyzer request;
    enqueue(request, "REQMOD /x ICAP/1.0\r\nEncapsulated: req-hdr=0, req-body=9\r\n");
    EXPECT_FALSE(request.extract(true));
}

template <typename Message>
void expect_owned_head(std::string_view text, std::string_view value)
{
    icap::analyzer analyzer;
    enqueue(analyzer, text);
    const auto message = analyzer.extract(true);
    ASSERT_TRUE(message);
    const auto& record = dynamic_cast<Message&>(*message).record();
    EXPECT_EQ(message->raw_head().data() + text.find(record.version), record.version.data());
    ASSERT_EQ(1U, record.fields.size());
    EXPECT_EQ(message->raw_head().data() + text.find(value), record.fields.begin()->second.data());
    EXPECT_EQ(value, record.fields.begin()->second);
}

TEST(icap_analyzer, a_message_owns_its_head_even_if_that_has_not_ended)
{
    expect_owned_head<icap::request_message>("OPTIONS icap://h/ ICAP/1.0\r\nHost: other\r\n\r\n", "other");
    const std::string lines = "ICAP/1.0 204 No\r\nEncapsulated: null-body=0\r\n";
    expect_owned_head<icap::response_message>(lines + "\r\n", "null-body=0");
    // A line that has not ended is not part of the head.
    const std::string list = "res-hdr=0, null-body=40";
    expect_owned_head<icap::response_message>("ICAP/1.0 200 OK\r\nEncapsulated: " + list + "\r\nA: b", list);
}

TEST(icap_analyzer, makes_no_message_of_a_third_type)
{
    EXPECT_EQ(raised<std::runtime_error>([] {
                  (void)icap::detail::make_message(3, options_head.data(), options_head.data() + options_head.size(),
                                                   {});
              }),
              "http message type is undefined");
}

// ---- garbage

TEST(icap_analyzer, drops_bytes_that_are_no_head)
{
    for (const std::string text :
         {"ICAX", "REQX", "words", "reqmod /x ICAP/1.0", "reqmod /x ICAP/1.0\r\n\r\n", "\r\n\r\nwords"}) {
        const sorted_text result = sort(text);
        EXPECT_FALSE(result.made) << text;
        EXPECT_EQ(result.dropped, std::vector<std::string>{text});
        EXPECT_EQ(result.kept, "") << text;
    }
}

TEST(icap_analyzer, drops_a_whole_reply_behind_garbage)
{
    const sorted_text result = sort("garbage" + clean_reply);
    EXPECT_FALSE(result.made);
    EXPECT_EQ(result.dropped, std::vector<std::string>{"garbage" + clean_reply});
    EXPECT_EQ(result.kept, "");
}

TEST(icap_analyzer, keeps_a_whole_request_behind_garbage)
{
    const sorted_text result = sort("garbage" + options_head);
    ASSERT_TRUE(result.made);
    EXPECT_EQ(result.made->type(), icap::type_request);
    EXPECT_EQ(result.dropped, std::vector<std::string>{"garbage"});
    EXPECT_EQ(result.kept, "");
}

TEST(icap_analyzer, keeps_the_beginning_of_a_request_behind_garbage)
{
    const sorted_text result = sort("garbage\r\nREQM");
    EXPECT_FALSE(result.made);
    EXPECT_EQ(result.dropped, std::vector<std::string>{"garbage\r\n"});
    EXPECT_EQ(result.kept, "REQM");
}

TEST(icap_analyzer, drops_garbage_without_anyone_listening)
{
    icap::analyzer analyzer;
    enqueue(analyzer, "garbage");
    EXPECT_FALSE(analyzer.extract());
    enqueue(analyzer, clean_reply);
    EXPECT_TRUE(analyzer.extract());
}

// ---- limits and arguments

TEST(icap_analyzer, takes_a_head_of_16640_bytes_and_not_one_more)
{
    for (const std::string& end : {std::string("\r\nEncapsulated: null-body=0\r\n\r\n")}) {
        const std::string start = "ICAP/1.0 204 No\r\nA: ";
        const std::string text = start + std::string(16640 - start.size() - end.size(), 'x') + end;
        ASSERT_EQ(text.size(), 16640U);
        const auto answer = extract(text);
        ASSERT_TRUE(answer);
        EXPECT_EQ(test::text_of(answer->raw_head()), text);

        icap::analyzer analyzer;
        EXPECT_EQ(raised<std::out_of_range>([&] { enqueue(analyzer, "x" + text); }),
                  "inmemory_cache::append() failed: max size exceeded");
        EXPECT_TRUE(analyzer.take_cached().empty());
        enqueue(analyzer, text.substr(1));
        EXPECT_EQ(raised<std::out_of_range>([&] { enqueue(analyzer, "xx"); }),
                  "inmemory_cache::append() failed: max size exceeded");
        EXPECT_EQ(analyzer.take_cached().size(), 16639U);
    }
}

TEST(icap_analyzer, takes_the_room_of_what_was_extracted_again)
{
    icap::analyzer analyzer;
    const std::string body = test::pattern(60000);
    const std::string text = test::mail_request(body);
    std::unique_ptr<icap::message> message;
    for (std::size_t place = 0; place < text.size(); place += 16000) {
        test::feed(analyzer, message, std::string_view(text).substr(place, 16000));
    }
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->request()), body);
}

TEST(icap_analyzer, refuses_a_reversed_range)
{
    icap::analyzer analyzer;
    const std::string text = "xx";
    EXPECT_EQ(raised<std::runtime_error>([&] { analyzer.enqueue(text.data() + 1, text.data()); }),
              "icap analyzer::enqueue: invalid range [beg, end)");
    analyzer.enqueue(text.data(), text.data());
    EXPECT_TRUE(analyzer.take_cached().empty());
}

TEST(icap_analyzer, creates_another_with_an_empty_cache)
{
    icap::analyzer analyzer;
    enqueue(analyzer, "ICAP/1.0 2");
    const auto other = analyzer.create();
    ASSERT_TRUE(other);
    EXPECT_TRUE(other->take_cached().empty());
}

// ---- feed

TEST(icap_analyzer, feeds_a_message_until_it_is_complete_and_keeps_the_rest)
{
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    const std::string text = test::page_reply(200, "hello");
    test::feed(analyzer, message, text.substr(0, text.size() - 5));
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->complete());
    test::feed(analyzer, message, last_chunk);
    EXPECT_TRUE(message->complete());
    // A complete message receives no further bytes.
    test::feed(analyzer, message, "next");
    EXPECT_EQ(test::text_of(analyzer.take_cached()), "next");
}

TEST(icap_analyzer, fails_when_a_piece_goes_beyond_the_message_that_it_feeds)
{
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    test::feed(analyzer, message, test::page_reply(200, "hello").substr(0, 80));
    ASSERT_FALSE(message && message->complete());
    test::feed(analyzer, message, test::page_reply(200, "hello").substr(80, 60));
    ASSERT_TRUE(message);
    const std::string rest = test::page_reply(200, "hello").substr(140) + "x";
    EXPECT_EQ(raised<std::runtime_error>([&] { test::feed(analyzer, message, rest); }),
              "invalid state. body is completed");
    EXPECT_EQ(test::text_of(analyzer.take_cached()), rest);
}

} // namespace
