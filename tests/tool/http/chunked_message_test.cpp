#include "tests/support/every_split.h"
#include "tests/support/failing_new.h"
#include "tests/tool/http/http_text.h"
#include "tool/http/messages.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using http::chunked_message;

const std::string head_text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

struct chunked_response
{
    chunked_response()
        : message(test::extract_message(head_text))
        , chunked(dynamic_cast<chunked_message&>(*message))
    {}
    std::uint64_t append(std::string_view text) { return message->append(text.data(), text.data() + text.size()); }
    std::uint64_t input(std::string_view text) { return chunked.input(text.data(), text.data() + text.size()); }
    std::string stored() { return test::stored_body(*message); }
    std::string whole()
    {
        http::byte_vector out;
        EXPECT_TRUE(message->read(nullptr, out));
        return test::text_of(out);
    }

    std::unique_ptr<http::message> message;
    chunked_message& chunked;
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

TEST(chunked_message, makes_the_length_of_what_it_wraps_unknown_and_marks_it)
{
    chunked_response target;
    EXPECT_EQ(http::unknown_length, target.chunked.inner().content_length());
    EXPECT_TRUE(target.chunked.inner().flag());
    EXPECT_FALSE(target.message->flag());
}

TEST(chunked_message, takes_off_the_framing_in_any_split)
{
    test::every_split("3\r\nabc\r\nA;x\r\n0123456789\r\n0\r\n\r\n", [](const test::pieces& pieces) {
        chunked_response target;
        for (const std::string_view piece : pieces) {
            EXPECT_FALSE(target.message->complete());
            EXPECT_EQ(piece.size(), test::append_all(*target.message, piece));
        }
        EXPECT_TRUE(target.message->complete());
        EXPECT_EQ("abc0123456789", target.stored());
        ASSERT_EQ(2U, target.chunked.chunks().size());
        EXPECT_EQ(10U, target.chunked.chunks()[1].size);
        EXPECT_EQ(10U, target.chunked.chunks()[1].written);
    });
}

TEST(chunked_message, a_completed_one_refuses_more_and_a_reversed_range_too)
{
    chunked_response target;
    const std::string text = "ab";
    EXPECT_EQ("http_message_body::append: invalid range [beg, end)",
              failure_text([&] { target.message->append(text.data() + 1, text.data()); }));
    EXPECT_EQ(0U, target.append(""));
    target.append("0\r\n\r\n");
    EXPECT_EQ("invalid state. body is completed", failure_text([&] { target.append("1"); }));
}

TEST(chunked_message, a_size_of_zero_completes_even_where_a_cut_trailer_hides_the_last_chunk)
{
    chunked_response target;
    EXPECT_EQ(3U, target.append("0\r\nX: y"));
    EXPECT_TRUE(target.message->complete());
}

TEST(chunked_message, a_size_of_all_ones_is_no_size)
{
    chunked_response target;
    EXPECT_EQ(10U, target.append("FFFFFFFF\r\nabc"));
    EXPECT_TRUE(target.chunked.chunks().empty());
    EXPECT_EQ("", target.stored());
    EXPECT_FALSE(target.message->complete());
}

TEST(chunked_message, input_takes_payload_as_finished_chunks)
{
    chunked_response target;
    EXPECT_EQ(0U, target.input(""));
    EXPECT_EQ(3U, target.input("5\r\n"));
    EXPECT_EQ("5\r\n", target.stored());
    ASSERT_EQ(1U, target.chunked.chunks().size());
    EXPECT_EQ(3U, target.chunked.chunks()[0].written);
    target.chunked.set_completed(true);
    EXPECT_TRUE(target.message->complete());
    EXPECT_EQ(2U, target.input("ab"));
    EXPECT_EQ("5\r\n", target.stored());
}

/// Counts bytes and allocates nothing.
class counting_store final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t, void*, std::uint64_t) override { return 0; }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
    std::uint64_t append(const void*, std::uint64_t count) override { return size_ += count, count; }
    void swap(web::io_data&) override {}
    void size(std::uint64_t) override {}
    std::uint64_t size() override { return size_; }

private:
    std::uint64_t size_ = 0;
};

TEST(chunked_message, needs_no_memory_for_the_chunks_that_are_finished)
{
    constexpr std::size_t count = 100'000;
    chunked_response target;
    target.chunked.set_body(std::make_unique<counting_store>());
    const test::failing_new no_memory(1, test::refusals::all_behind);
    for (std::size_t number = 0; number < count; ++number) {
        target.input("x");
    }
    EXPECT_FALSE(no_memory.failed());
    EXPECT_EQ(count, target.chunked.body_size());
    EXPECT_EQ(count, target.chunked.chunks().size());
}

TEST(chunked_message, reads_as_a_chunked_sender_would_send_it)
{
    chunked_response target;
    target.input("0123456789abcdefg");
    EXPECT_EQ(head_text + "11\r\n0123456789abcdefg\r\n0\r\n\r\n\r\n", target.whole());
}

TEST(chunked_message, reads_with_its_trailers)
{
    chunked_response target;
    test::append_all(*target.message, "1\r\na\r\n0\r\nX: y\r\n\r\n");
    EXPECT_TRUE(target.message->complete());
    EXPECT_EQ(head_text + "1\r\na\r\n0\r\n\r\nX: y\r\n", target.whole());
    http::read_span all;
    http::byte_vector out;
    EXPECT_TRUE(target.message->read(&all, out));
    EXPECT_EQ(head_text + "1\r\na\r\n0\r\nX: y\r\n\r\n", test::text_of(out));
}

TEST(chunked_message, spans_of_any_length_give_the_whole_in_order)
{
    const std::string whole = head_text + "a\r\n0123456789\r\n0\r\n\r\n";
    for (std::uint64_t length = 1; length <= whole.size() + 1; ++length) {
        chunked_response target;
        target.input("0123456789");
        http::read_span span{length, 0};
        http::byte_vector out;
        std::string read;
        while (target.message->read(&span, out)) {
            EXPECT_LE(out.size(), length);
            read += test::text_of(out);
        }
        EXPECT_EQ(whole, read);
        EXPECT_EQ(whole.size(), span.offset);
    }
}

TEST(chunked_message, a_span_past_the_end_reads_nothing)
{
    chunked_response target;
    target.input("ab");
    http::read_span past{10, 10'000};
    http::byte_vector out{'x'};
    EXPECT_FALSE(target.message->read(&past, out));
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(10'000U, past.offset);
}

TEST(chunked_message, forwards_all_but_its_own_state)
{
    const auto message = test::extract_message(
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\nContent-Type: image/x\r\nContent-Encoding: gzip\r\n"
        "Content-Range: bytes 1-2/3\r\nContent-Length: 9\r\n\r\n");
    auto& inner = dynamic_cast<chunked_message&>(*message).inner();
    message->set_id(5);
    EXPECT_EQ(5U, inner.id());
    EXPECT_EQ(5U, message->id());
    EXPECT_EQ(2U, message->type());
    EXPECT_EQ(6U, message->content_kind());
    EXPECT_EQ(1U, message->encoding_kind());
    EXPECT_EQ(3U, message->content_range().total);
    EXPECT_EQ(&inner.body(), &message->body());
    EXPECT_EQ(&inner.raw_head(), &message->raw_head());
    EXPECT_EQ(&inner.headers(), &message->headers());
    EXPECT_EQ(inner.created(), message->created());
    EXPECT_EQ(0U, message->body_size());
    EXPECT_EQ(inner.raw_head().size(), message->total_size());
    const auto thing = std::make_shared<int>(1);
    message->attach(thing);
    EXPECT_EQ(thing, message->attachment());
    EXPECT_EQ(nullptr, inner.attachment());
    message->update_length();
    EXPECT_EQ("9", test::header_of(*message, "Content-Length"));
    message->flag(true);
    EXPECT_TRUE(message->flag());
    auto store = web::make_body_store(3);
    store->append("abc", 3);
    message->set_body(std::move(store));
    EXPECT_EQ("3", test::header_of(*message, "Content-Length"));
}

} // namespace
