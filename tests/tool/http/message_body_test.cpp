#include "tests/support/every_split.h"
#include "tests/tool/http/http_text.h"
#include "tool/http/message_body.h"
#include "tool/http/messages.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

namespace message_body_test {

using http::http_message_body;

/// An HTTP message whose body arrives in ICAP chunks.
struct receiving
{
    explicit receiving(std::string_view head = "HTTP/1.1 200 OK\r\n\r\n", bool completed = false, bool preview = false,
                       std::uint64_t preview_size = 0, std::uint32_t request_method = 0)
        : link(request_method)
        , message(test::extract_message(head, &link))
        , body(*message, completed, preview, preview_size)
    {}

    /// One call of append.
    std::uint64_t append(std::string_view text) { return body.append(text.data(), text.data() + text.size()); }

    /// Appends until all is taken, as the message that owns a body does.
    void feed(std::string_view text)
    {
        while (!text.empty()) {
            const auto used = append(text);
            text.remove_prefix(static_cast<std::size_t>(used));
        }
    }

    std::string stored() { return test::stored_body(*message); }

    test::method_link link;
    std::unique_ptr<http::message> message;
    http_message_body body;
};

template <typename Action>
std::string failure_text(Action&& action)
{
    try {
        action();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "(nothing raised)";
}

TEST(http_message_body, a_chunk_line_in_three_reads_is_taken_whole_and_the_payload_follows)
{
    receiving target;
    EXPECT_EQ(1U, target.append("1"));
    EXPECT_EQ(2U, target.append("0\r"));
    EXPECT_EQ("", target.stored());
    EXPECT_EQ(1U, target.append("\n"));
    EXPECT_EQ("", target.stored());
    EXPECT_EQ(16U, target.append("0123456789abcdefXY"));
    EXPECT_EQ("0123456789abcdef", target.stored());
}

TEST(http_message_body, one_append_takes_a_line_and_its_payload_and_no_more)
{
    receiving target;
    EXPECT_EQ(6U, target.append("3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"));
    EXPECT_EQ("abc", target.stored());
}

TEST(http_message_body, any_number_of_line_ends_stands_ahead_of_a_line)
{
    receiving target;
    EXPECT_EQ(9U, target.append("\r\n \n\n1\r\naX"));
    EXPECT_EQ("a", target.stored());
    EXPECT_EQ(2U, target.append("\r\n"));
    EXPECT_EQ(1U, target.append("\r"));
    EXPECT_EQ(5U, target.append("\n1\r\nbX"));
    EXPECT_EQ("ab", target.stored());
}

TEST(http_message_body, the_split_of_the_input_makes_no_difference)
{
    for (const std::string_view text :
         {"3\r\nabc\r\n10;x=\"y\"\r\n0123456789abcdef\r\n9  \r\n\r\n0\r\n\r\n00\r\n0\r\n\r\n",
          "3\nabc\n10\n0123456789abcdef\n9\n\r\n0\r\n\r\n00\n0\n\n"}) {
        test::every_split(text, [](const test::pieces& pieces) {
            receiving target;
            for (const std::string_view piece : pieces) {
                target.feed(piece);
            }
            EXPECT_EQ("abc0123456789abcdef\r\n0\r\n\r\n00", target.stored());
            EXPECT_TRUE(target.body.completed());
            EXPECT_FALSE(target.body.ieof());
        });
    }
}

TEST(http_message_body, zero_and_a_blank_line_complete_the_body)
{
    receiving target;
    EXPECT_EQ(5U, target.append("0\r\n\r\n"));
    EXPECT_TRUE(target.body.completed());
    EXPECT_FALSE(target.body.ieof());
}

TEST(http_message_body, zero_alone_is_not_finished_until_the_next_bytes)
{
    test::every_split("0\r\n\r\n", [](const test::pieces& pieces) {
        receiving target;
        std::size_t fed = 0;
        for (const std::string_view piece : pieces) {
            EXPECT_FALSE(target.body.completed()) << fed;
            EXPECT_EQ(piece.size(), target.append(piece));
            fed += piece.size();
        }
        EXPECT_TRUE(target.body.completed());
    });
}

TEST(http_message_body, any_of_the_letters_of_ieof_in_the_extension_is_the_mark)
{
    const std::pair<std::string, bool> cases[] = {
        {"0; ieof\r\n\r\n", true},  {"0;x\r\n\r\n", false}, {"0;x=free\r\n\r\n", true},
        {"0;ab=12\r\n\r\n", false}, {"0;i\r\n\r\n", true},  {"0;e\r\n\r\n", true},
        {"0;o\r\n\r\n", true},      {"0;f\r\n\r\n", true},  {"0;IEOF\r\n\r\n", false}};
    for (const auto& [text, ieof] : cases) {
        receiving target;
        target.feed(text);
        EXPECT_TRUE(target.body.completed()) << text;
        EXPECT_EQ(ieof, target.body.ieof()) << text;
    }
}

TEST(http_message_body, letters_in_a_sized_chunks_extension_are_no_mark)
{
    receiving target;
    target.feed("1; ieof\r\nx\r\n0\r\n\r\n");
    EXPECT_FALSE(target.body.ieof());
    EXPECT_EQ("x", target.stored());
}

TEST(http_message_body, zeros_are_a_last_chunk_and_zero_ahead_of_a_digit_is_a_size)
{
    receiving zeros;
    zeros.feed("00\r\n\r\n");
    EXPECT_TRUE(zeros.body.completed());
    receiving ten;
    ten.feed("0A\r\n0123456789");
    EXPECT_FALSE(ten.body.completed());
    EXPECT_EQ("0123456789", ten.stored());
}

TEST(http_message_body, extensions_and_blanks_behind_a_size_are_ignored)
{
    receiving target;
    target.feed("a;name=value\r\n0123456789\r\na  \r\n0123456789\r\nA\t\n0123456789");
    EXPECT_EQ(30U, target.message->body_size());
}

TEST(http_message_body, a_size_beyond_32_bits_never_becomes_a_line)
{
    receiving target;
    EXPECT_EQ(14U, target.append("100000000\r\nabc"));
    EXPECT_EQ(3U, target.append("def"));
    EXPECT_EQ("", target.stored());
}

TEST(http_message_body, bytes_behind_the_last_chunk_are_refused)
{
    receiving target;
    target.feed("0\r\n\r\n");
    EXPECT_EQ("invalid state. body is completed", failure_text([&] { target.append("x"); }));
    EXPECT_EQ("invalid state. body is completed", failure_text([&] { target.append(""); }));
}

TEST(http_message_body, a_null_body_refuses_from_the_start)
{
    receiving target("HTTP/1.1 200 OK\r\n\r\n", true);
    EXPECT_TRUE(target.body.completed());
    EXPECT_EQ("invalid state. body is completed", failure_text([&] { target.append("x"); }));
}

TEST(http_message_body, a_preview_lets_a_completed_body_go_on)
{
    receiving target("HTTP/1.1 200 OK\r\n\r\n", false, true, 2);
    target.feed("2\r\nab\r\n0\r\n\r\n");
    EXPECT_TRUE(target.body.completed());
    target.feed("1\r\nc\r\n0\r\n\r\n");
    EXPECT_EQ("abc", target.stored());
    EXPECT_TRUE(target.body.completed());
}

TEST(http_message_body, a_reversed_range_is_refused_and_an_empty_one_takes_nothing)
{
    receiving target;
    const std::string_view text = "ab";
    EXPECT_EQ("http_message_body::append: invalid range [beg, end)",
              failure_text([&] { target.body.append(text.data() + 1, text.data()); }));
    EXPECT_EQ(0U, target.append(""));
}

TEST(http_message_body, a_chunk_of_unspecified_size_cannot_be_added)
{
    receiving target;
    EXPECT_EQ("add_chunk failed: add chunk with unspecified size", failure_text([&] {
                  target.body.add_chunk({http::unspecified_size, 0});
              }));
}

TEST(http_message_body, an_added_chunk_is_filled_first)
{
    receiving target;
    target.body.add_chunk({3, 1});
    EXPECT_EQ(2U, target.append("ab1\r\nc"));
    EXPECT_EQ(4U, target.append("1\r\nc"));
    EXPECT_EQ("abc", target.stored());
}

TEST(http_message_body, trailers_are_kept_and_harm_nothing)
{
    receiving target;
    target.feed("1\r\na\r\n0\r\nX: y\r\nZ: w\r\n\r\n");
    EXPECT_TRUE(target.body.completed());
    EXPECT_EQ("X: y\r\nZ: w\r\n", test::text_of(target.body.trailers()));
    receiving behind;
    behind.feed("0\r\n\r\nX: y\r\n\r\n");
    EXPECT_TRUE(behind.body.completed());
    EXPECT_EQ("X: y\r\n", test::text_of(behind.body.trailers()));
}

TEST(http_message_body, a_trailer_that_a_read_cuts_is_no_last_chunk)
{
    // The parse of the last chunk stops ahead of the incomplete line, so the zero counts as a size.
    receiving target;
    EXPECT_EQ(3U, target.append("0\r\nX: y"));
    EXPECT_FALSE(target.body.completed());
    EXPECT_EQ(6U, target.append("X: y\r\n"));
    EXPECT_FALSE(target.body.completed());
}

TEST(http_message_body, the_message_takes_what_fits_and_the_body_goes_on_counting)
{
    receiving target("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(7U, target.append("5\r\nabcd"));
    EXPECT_EQ(1U, target.append("e\r\n0\r\n\r\n"));
    target.feed("\r\n0\r\n\r\n");
    EXPECT_EQ("ab", target.stored());
    EXPECT_TRUE(target.body.completed());
}

TEST(http_message_body, payload_fills_a_chunked_http_message_without_framing)
{
    receiving target("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    target.feed("3\r\n5\r\n\r\n2\r\nab\r\n");
    EXPECT_FALSE(target.message->complete());
    target.feed("0\r\n\r\n");
    EXPECT_TRUE(target.message->complete());
    EXPECT_EQ("5\r\nab", target.stored());
}

TEST(http_message_body, the_message_learns_of_completion_and_of_its_end)
{
    receiving target("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", false, true);
    target.feed("0\r\n\r\n");
    EXPECT_TRUE(target.message->complete());
    target.body.more_preview_need();
    EXPECT_FALSE(target.message->complete());
    EXPECT_FALSE(target.body.completed());
}

TEST(http_message_body, a_large_body_arrives_whole_through_odd_pieces)
{
    std::string payload;
    for (int number = 0; payload.size() < 300'000; ++number) {
        payload += std::to_string(number) + "\r\n0\r\n";
    }
    receiving target;
    std::string wire = "1000\r\n" + payload.substr(0, 0x1000) + "\r\n";
    char size[16];
    std::snprintf(size, sizeof size, "%zx\r\n", payload.size() - 0x1000);
    wire += size + payload.substr(0x1000) + "\r\n0\r\n\r\n";
    for (std::size_t place = 0; place < wire.size(); place += 1021) {
        target.feed(std::string_view(wire).substr(place, 1021));
    }
    EXPECT_TRUE(target.body.completed());
    EXPECT_EQ(payload, target.stored());
}

TEST(http_message_body, a_store_that_fails_leaves_the_chunk_where_it_was)
{
    class failing_store final : public web::io_data
    {
    public:
        std::uint64_t read(std::uint64_t, void*, std::uint64_t) override { return 0; }
        std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
        std::uint64_t append(const void*, std::uint64_t count) override
        {
            if (fail) {
                throw std::runtime_error("disk is full");
            }
            size_ += count;
            return count;
        }
        void swap(web::io_data&) override {}
        void size(std::uint64_t) override {}
        std::uint64_t size() override { return size_; }
        bool fail = false;

    private:
        std::uint64_t size_ = 0;
    };
    receiving target;
    auto store = std::make_unique<failing_store>();
    failing_store& disk = *store;
    target.message->set_body(std::move(store));
    target.append("4\r\na");
    disk.fail = true;
    EXPECT_EQ("disk is full", failure_text([&] { target.append("bcd"); }));
    disk.fail = false;
    EXPECT_EQ(3U, target.append("bcd\r\n"));
    EXPECT_EQ(4U, disk.size());
}

TEST(http_message_body, a_message_without_the_entry_for_payload_is_refused)
{
    class bare_message final : public http::message
    {
    public:
        void set_id(std::uint32_t) override {}
        std::uint32_t id() const override { return 0; }
        std::uint32_t type() const override { return 1; }
        bool complete() override { return false; }
        std::uint32_t content_kind() override { return 0; }
        std::uint32_t encoding_kind() override { return 0; }
        http::content_range_data content_range() override { return {}; }
        web::io_data& body() override { throw std::logic_error("none"); }
        const http::byte_vector& raw_head() const override { throw std::logic_error("none"); }
        bool read(http::read_span*, http::byte_vector&) override { return false; }
        void set_body(std::unique_ptr<web::io_data>) override {}
        std::uint32_t created() const override { return 0; }
        void accept(http::message_handler&, void*) override {}
        std::uint64_t body_size() override { return 0; }
        std::uint64_t total_size() override { return 0; }
        std::uint64_t append(const char*, const char*) override { return 0; }
        http::message_headers& headers() override { throw std::logic_error("none"); }
        bool flag() const override { return false; }
        void flag(bool) override {}
        void update_length() override {}
        void attach(std::shared_ptr<void>) override {}
        std::shared_ptr<void> attachment() override { return nullptr; }
    };
    bare_message message;
    EXPECT_THROW(http_message_body(message, false, false, 0), std::bad_cast);
}

constexpr std::string_view open_response = "HTTP/1.1 200 OK\r\n\r\n";

TEST(end_of_preview, the_ieof_mark_ends_it)
{
    receiving target(open_response, false, true, 10);
    EXPECT_FALSE(target.body.is_endoff_preview());
    target.feed("1\r\na\r\n0; ieof\r\n\r\n");
    EXPECT_TRUE(target.body.is_endoff_preview());
    EXPECT_EQ("more_preview_need: already end of preview", failure_text([&] { target.body.more_preview_need(); }));
}

TEST(end_of_preview, asking_for_more_ends_it_for_good_and_opens_the_body)
{
    receiving target(open_response, false, true, 1);
    target.feed("1\r\na\r\n0\r\n\r\n");
    target.body.more_preview_need();
    EXPECT_FALSE(target.body.completed());
    EXPECT_TRUE(target.body.is_endoff_preview());
    target.feed("1\r\nb\r\n0\r\n\r\n");
    EXPECT_EQ("ab", target.stored());
    EXPECT_EQ("more_preview_need: already end of preview", failure_text([&] { target.body.more_preview_need(); }));
}

TEST(end_of_preview, a_complete_body_larger_than_the_preview_ends_it)
{
    receiving larger("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n", false, true, 2);
    larger.feed("2\r\nab\r\n");
    EXPECT_FALSE(larger.body.is_endoff_preview());
    larger.feed("1\r\nc\r\n");
    EXPECT_TRUE(larger.body.is_endoff_preview());
    receiving equal("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n", false, true, 3);
    equal.feed("3\r\nabc\r\n");
    EXPECT_FALSE(equal.body.is_endoff_preview());
}

TEST(end_of_preview, a_content_length_of_zero_ends_it)
{
    EXPECT_TRUE(receiving("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n").body.is_endoff_preview());
    EXPECT_FALSE(receiving("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n").body.is_endoff_preview());
    EXPECT_FALSE(receiving("POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\n").body.is_endoff_preview());
}

TEST(end_of_preview, a_content_length_that_is_no_number_raises)
{
    receiving target("HTTP/1.1 200 OK\r\nContent-Length: abc\r\n\r\n");
    EXPECT_THROW((void)target.body.is_endoff_preview(), boost::bad_lexical_cast);
}

TEST(end_of_preview, responses_that_have_no_body_end_it)
{
    EXPECT_TRUE(receiving("HTTP/1.1 204 No Content\r\n\r\n").body.is_endoff_preview());
    EXPECT_TRUE(receiving("HTTP/1.1 304 Not Modified\r\n\r\n").body.is_endoff_preview());
    EXPECT_FALSE(receiving("HTTP/1.1 100 Continue\r\n\r\n").body.is_endoff_preview());
    EXPECT_TRUE(receiving(open_response, false, false, 0, 3).body.is_endoff_preview());
    EXPECT_FALSE(receiving(open_response, false, false, 0, 2).body.is_endoff_preview());
}

TEST(end_of_preview, a_request_without_length_and_encoding_ends_it)
{
    EXPECT_TRUE(receiving("GET / HTTP/1.1\r\n\r\n").body.is_endoff_preview());
    EXPECT_FALSE(receiving("POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n").body.is_endoff_preview());
}

} // namespace message_body_test
