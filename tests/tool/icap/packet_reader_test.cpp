#include "tests/tool/icap/icap_text.h"
#include "tool/icap/packet_reader.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace packet_reader_test {

using test::chunk;
using test::encapsulated;
using test::last_chunk;
using test::pieces_of;
using test::raised;

const std::string get_head = test::head({"GET http://host/a HTTP/1.1"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});
const std::string empty_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 0"});

TEST(packet_reader, gives_a_head_alone_in_one_piece)
{
    const std::string text = test::reply(204, {"Encapsulated: null-body=0"});
    EXPECT_EQ(pieces_of(*test::extract(text)), std::vector<std::string>{text});
}

TEST(packet_reader, never_mixes_two_sections_in_a_piece)
{
    const auto message = test::extract_request(test::respmod({encapsulated(get_head, page_head, "res-body")}) +
                                               get_head + page_head + chunk("hello") + last_chunk);
    ASSERT_TRUE(message);
    const std::vector<std::string> expected{test::text_of(message->raw_head()), get_head, page_head,
                                            chunk("hello") + last_chunk};
    EXPECT_EQ(pieces_of(*message), expected);
}

TEST(packet_reader, cuts_a_body_at_4096_bytes)
{
    const std::string body = test::pattern(10000);
    const auto message = test::extract_request(test::mail_request(body));
    ASSERT_TRUE(message && message->complete());
    const std::vector<std::string> pieces = pieces_of(*message);
    ASSERT_EQ(pieces.size(), 5U);
    EXPECT_EQ(pieces[2], "2710\r\n" + body.substr(0, 4096));
    EXPECT_EQ(pieces[3], body.substr(4096, 4096));
    EXPECT_EQ(pieces[4], body.substr(8192) + "\r\n0\r\n\r\n");
}

TEST(packet_reader, makes_one_chunk_of_many_in_lower_case_hexadecimal)
{
    const std::string head = test::head({"POST http://host/ HTTP/1.1", "Content-Length: 171"});
    const std::string body = test::pattern(171);
    const auto message = test::extract_request(test::reqmod({encapsulated(head, "", "req-body")}) + head +
                                               chunk(body.substr(0, 100)) + chunk(body.substr(100)) + last_chunk);
    ASSERT_TRUE(message);
    EXPECT_EQ(pieces_of(*message).back(), "ab\r\n" + body + "\r\n0\r\n\r\n");
}

TEST(packet_reader, follows_an_empty_response_body_with_the_end_mark_twice)
{
    const auto message =
        test::extract_reply(test::reply(200, {encapsulated("", empty_head, "null-body")}) + empty_head);
    ASSERT_TRUE(message);
    const std::vector<std::string> pieces = pieces_of(*message);
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[1], empty_head);
    EXPECT_EQ(pieces[2], "0\r\n\r\n0\r\n\r\n");
}

TEST(packet_reader, follows_an_empty_request_body_with_nothing)
{
    const auto message = test::extract_request(test::mail_request(""));
    ASSERT_TRUE(message && message->complete());
    const std::vector<std::string> pieces = pieces_of(*message);
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0], test::text_of(message->raw_head()));
    EXPECT_EQ(pieces[1], test::text_of(message->request().raw_head()));
}

TEST(packet_reader, gives_nothing_more_behind_the_end)
{
    const auto message = test::extract_reply(test::page_reply(200, "hello"));
    const auto reader = message->reader();
    http::byte_vector bytes;
    icap::packet piece{&bytes, 0};
    while (reader->read(piece)) {
        EXPECT_EQ(piece.count, bytes.size());
        EXPECT_NE(piece.count, 0U);
    }
    EXPECT_EQ(piece.count, 0U);
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(reader->read(piece));
}

TEST(packet_reader, stays_at_its_end_when_the_message_gets_a_response)
{
    const auto message = test::extract_request(test::mail_request(""));
    const auto reader = message->reader();
    http::byte_vector bytes;
    icap::packet piece{&bytes, 0};
    while (reader->read(piece)) {
    }
    message->set_encapsulated(test::http_message(empty_head));
    EXPECT_FALSE(reader->read(piece));
    EXPECT_EQ(piece.count, 0U);
}

TEST(packet_reader, replaces_what_the_vector_held)
{
    const std::string text = test::reply(204, {"Encapsulated: null-body=0"});
    const auto message = test::extract(text);
    http::byte_vector bytes(5000, '?');
    icap::packet piece{&bytes, 5000};
    EXPECT_TRUE(message->reader()->read(piece));
    EXPECT_EQ(test::text_of(bytes), text);
    EXPECT_EQ(piece.count, text.size());
}

TEST(packet_reader, refuses_an_incomplete_message)
{
    const auto message = test::extract_request(test::mail_request("hello").substr(0, 190));
    ASSERT_TRUE(message && !message->complete());
    const auto reader = message->reader();
    http::byte_vector bytes;
    icap::packet piece{&bytes, 0};
    bytes.push_back('x');
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)reader->read(piece); }), "could no read incomplet message");
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)reader->gather(bytes, 1); }), "could no read incomplet message");
    EXPECT_EQ(bytes.size(), 1U) << "and leaves the bytes as they were";
}

TEST(packet_reader, gathers_the_sections_of_a_small_message)
{
    const std::string body = test::pattern(10000);
    const auto message = test::extract_request(test::mail_request(body));
    ASSERT_TRUE(message && message->complete());
    const auto reader = message->reader();
    http::byte_vector bytes{'x'};
    EXPECT_TRUE(reader->gather(bytes, 65536));
    EXPECT_EQ(test::text_of(bytes), "x" + test::text_of(message->raw_head()) +
                                        test::text_of(message->request().raw_head()) + "2710\r\n" + body +
                                        "\r\n0\r\n\r\n");
    EXPECT_FALSE(reader->gather(bytes, 1 << 20));
}

TEST(packet_reader, gathers_no_more_body_than_is_asked_for)
{
    const std::string body = test::pattern(15000);
    const auto message = test::extract_request(test::mail_request(body));
    ASSERT_TRUE(message && message->complete());
    const std::size_t heads = message->raw_head().size() + message->request().raw_head().size();
    const std::size_t size_line = std::string("3a98\r\n").size();
    const auto reader = message->reader();
    http::byte_vector bytes;
    EXPECT_TRUE(reader->gather(bytes, heads)) << "no body bytes yet";
    EXPECT_EQ(bytes.size(), heads);
    EXPECT_TRUE(reader->gather(bytes, heads + 6000));
    EXPECT_EQ(bytes.size(), heads + size_line + 6000);
    EXPECT_EQ(test::text_of(bytes).substr(heads + size_line), body.substr(0, 6000));
    icap::packet piece{&bytes, 0};
    EXPECT_TRUE(reader->read(piece)) << "the rest may be read in any way";
    EXPECT_EQ(test::text_of(bytes), body.substr(6000, 4096));
    EXPECT_TRUE(reader->gather(bytes, 1 << 20));
    EXPECT_EQ(test::text_of(bytes), body.substr(6000) + "\r\n0\r\n\r\n");
}

/// A store that returns at most some bytes at a time, and no more than it has, whatever size it reports.
class short_store final : public web::io_data
{
public:
    short_store(std::string bytes, std::uint64_t told, std::uint64_t at_a_time)
        : bytes_(std::move(bytes))
        , told_(told)
        , at_a_time_(at_a_time)
    {}
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        if (offset >= bytes_.size()) {
            return 0;
        }
        const std::uint64_t given = std::min({count, at_a_time_, bytes_.size() - offset});
        std::memcpy(destination, bytes_.data() + offset, given);
        return given;
    }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
    std::uint64_t append(const void*, std::uint64_t) override { return 0; }
    void swap(web::io_data&) override {}
    void size(std::uint64_t) override {}
    [[nodiscard]] std::uint64_t size() override { return told_; }

private:
    std::string bytes_;
    std::uint64_t told_;
    std::uint64_t at_a_time_;
};

TEST(packet_reader, goes_on_behind_a_short_read_of_the_store)
{
    const std::string body = test::pattern(5000);
    short_store store(body, 5000, 1000);
    icap::detail::body_cursor cursor{5000, 0};
    http::byte_vector bytes;
    while (!cursor.at_end()) {
        EXPECT_TRUE(cursor.next(store, bytes));
    }
    EXPECT_EQ(test::text_of(bytes), "1388\r\n" + body + "\r\n0\r\n\r\n");
}

TEST(packet_reader, raises_when_the_store_ends_ahead_of_its_size)
{
    short_store store("abc", 5, 10);
    icap::detail::body_cursor cursor{5, 0};
    http::byte_vector bytes;
    EXPECT_TRUE(cursor.next(store, bytes));
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)cursor.next(store, bytes); }),
              "packet reader: body ended before its size");
}

TEST(packet_reader, raises_behind_the_end_of_a_body_and_gives_nothing_of_an_empty_one)
{
    short_store store("abc", 3, 10);
    icap::detail::body_cursor cursor{3, 3};
    http::byte_vector bytes;
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)cursor.next(store, bytes); }),
              "packet reader: content size exceeded");
    icap::detail::body_cursor empty;
    EXPECT_FALSE(empty.next(store, bytes));
    EXPECT_TRUE(bytes.empty());
}

// ---- sizes through append, reader and analyzer

class body_size : public testing::TestWithParam<std::size_t>
{};

TEST_P(body_size, of_a_request_goes_through_append_and_reader)
{
    const std::string body = test::pattern(GetParam());
    const std::string whole = test::mail_request(body);
    const std::string head = whole.substr(0, whole.find("\r\n\r\n", whole.find("\r\n\r\n") + 4) + 4);
    const auto message = test::extract_request(head);
    ASSERT_TRUE(message);
    for (std::size_t place = 0; place < body.size(); place += 4096) {
        test::append(*message, chunk(std::string_view(body).substr(place, 4096)));
    }
    EXPECT_FALSE(message->complete());
    test::append(*message, last_chunk);
    ASSERT_TRUE(message->complete());
    EXPECT_EQ(message->request().body_size(), body.size());

    const std::string sent = test::wire_of(*message);
    EXPECT_EQ(sent, body.empty() ? head : whole);

    icap::analyzer analyzer;
    std::unique_ptr<icap::message> received;
    for (std::size_t place = 0; place < sent.size(); place += 5000) {
        test::feed(analyzer, received, std::string_view(sent).substr(place, 5000));
    }
    ASSERT_TRUE(received);
    // Without body bytes no end mark is written, and the receiver continues to wait for one.
    EXPECT_EQ(received->complete(), !body.empty());
    EXPECT_EQ(test::body_of(received->request()), body);
}

TEST_P(body_size, of_a_reply_goes_through_set_encapsulated_and_reader)
{
    const std::string body = test::pattern(GetParam());
    const std::string page = test::head({"HTTP/1.1 200 OK", "Content-Length: " + std::to_string(body.size())});
    http::analyzer maker;
    maker.enqueue(page.data(), page.data() + page.size());
    auto part = maker.extract();
    ASSERT_TRUE(part);
    part->append(body.data(), body.data() + body.size());
    ASSERT_TRUE(part->complete());
    const auto answer = test::extract_reply(test::reply(201, {"ISTag: \"t\"", "Encapsulated: null-body=0"}));
    answer->set_encapsulated(std::move(part));
    std::string sent = test::wire_of(*answer);

    if (body.empty()) {
        // The reader's doubled end mark follows a message that announced a null body.
        EXPECT_TRUE(sent.ends_with(page + last_chunk + last_chunk));
        sent.resize(sent.size() - 2 * last_chunk.size());
    }
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> received;
    for (std::size_t place = 0; place < sent.size(); place += 8192) {
        test::feed(analyzer, received, std::string_view(sent).substr(place, 8192));
    }
    ASSERT_TRUE(received);
    EXPECT_TRUE(received->complete());
    EXPECT_EQ(test::body_of(received->response()), body);
    EXPECT_EQ(test::text_of(received->response().raw_head()), page);
}

INSTANTIATE_TEST_SUITE_P(sizes, body_size, testing::Values(0U, 1U, 4095U, 4096U, 4097U, 131070U, 131071U),
                         [](const auto& tested) { return std::to_string(tested.param); });

} // namespace packet_reader_test
