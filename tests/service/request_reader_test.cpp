#include "service/bad_request.h"
#include "service/request_reader.h"
#include "tests/service/requests.h"
#include "tests/support/every_split.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

namespace request_reader_test {

using namespace std::string_literals;
using service::request_reader;
using progress = request_reader::progress;

constexpr request_reader::limits wide{1U << 20U, 65536};

std::string content_of(http::message& message)
{
    std::string text(static_cast<std::size_t>(message.body_size()), '\0');
    EXPECT_EQ(message.body().read(0, text.data(), text.size()), text.size());
    return text;
}

/// The result of reading a stream of pieces.
struct reading
{
    std::string inbox;
    request_reader reader{wide};
    progress last = progress::need_more;

    explicit reading(const test::pieces& pieces)
    {
        for (const auto piece : pieces) {
            inbox.append(piece);
            if (last == progress::need_more) {
                last = reader.read(inbox);
            }
        }
    }
};

/// Expects that the request is read completely from every split, and that the bytes after it are left in the stream.
void expect_complete(const std::string& request, const std::string& object, const std::string& behind = "OPTIONS ")
{
    test::every_split(request + behind, [&](const test::pieces& pieces) {
        reading result(pieces);
        ASSERT_EQ(result.last, progress::complete) << "first piece of " << pieces.front().size();
        EXPECT_EQ(content_of(result.reader.object()), object);
        EXPECT_EQ(result.inbox, behind);
    });
}

const std::string http_request = "GET http://host/file.bin HTTP/1.1\r\n\r\n";

TEST(request_reader, reads_options)
{
    test::every_split(test::options_request() + "next", [&](const test::pieces& pieces) {
        reading result(pieces);
        ASSERT_EQ(result.last, progress::complete);
        EXPECT_EQ(result.reader.request()->method(), icap::request_method::options);
        EXPECT_EQ(result.inbox, "next");
    });
}

TEST(request_reader, reads_a_mail)
{
    expect_complete(test::mail_request("the body"), "the body");
    expect_complete(test::mail_request("0\r\n\r\n"), "0\r\n\r\n");
}

TEST(request_reader, reads_a_mail_of_no_bytes_which_has_no_end_mark)
{
    const std::string request = test::mail_request("");
    expect_complete(request, "", "");
    std::string inbox = request;
    request_reader reader(wide);
    EXPECT_EQ(reader.read(inbox), progress::complete);
    EXPECT_TRUE(reader.ended_early());
}

TEST(request_reader, takes_the_end_mark_of_an_empty_mail_that_comes_after_all)
{
    const std::string next = test::mail_request("next");
    for (const std::string& ahead : {""s, "0\r\n\r\n"s}) {
        test::every_split(ahead + next, [&](const test::pieces& pieces) {
            request_reader reader(wide, true);
            std::string inbox;
            progress last = progress::need_more;
            for (const auto piece : pieces) {
                inbox.append(piece);
                if (last == progress::need_more) {
                    last = reader.read(inbox);
                }
            }
            ASSERT_EQ(last, progress::complete);
            EXPECT_EQ(content_of(reader.object()), "next");
            EXPECT_EQ(inbox, "");
        });
    }
}

TEST(request_reader, reads_a_body_in_many_chunks)
{
    const std::string head = "POST http://host/ HTTP/1.1\r\nContent-Length: 6\r\n\r\n";
    expect_complete(test::reqmod_head(head) + "1\r\na\r\n2;x=y\r\nbc\r\n3  \r\ndef\r\n0\r\n\r\n", "abcdef");
    expect_complete(test::reqmod_head(head) + "6\nabcdef\n0\n\n", "abcdef");
    expect_complete(test::reqmod_head(head) + "6\r\nabcdef\r\n00\r\n\r\n", "abcdef");
    expect_complete(test::reqmod_head(head) + "6\r\nabcdef\r\n0\r\nX-Trailer: 1\r\nX-Other: 2\r\n\r\n", "abcdef");
}

TEST(request_reader, reads_a_response)
{
    expect_complete(test::respmod_head(http_request, test::object_head(5)) + "5\r\nhello\r\n0\r\n\r\n", "hello");
}

TEST(request_reader, reads_a_response_that_tells_no_length)
{
    expect_complete(test::respmod_head(http_request, "HTTP/1.1 200 OK\r\n\r\n") + "5\r\nhello\r\n0\r\n\r\n", "hello");
}

TEST(request_reader, reads_a_response_that_was_chunked_itself)
{
    const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    expect_complete(test::respmod_head(http_request, head) + "5\r\nhello\r\n1\r\n!\r\n0\r\n\r\n", "hello!");
}

TEST(request_reader, reads_requests_without_a_body)
{
    expect_complete(test::health_request(), "");
    expect_complete(test::respmod_head(http_request, "HTTP/1.1 304 Not Modified\r\n\r\n", "", test::service_uri, false),
                    "");
}

TEST(request_reader, drops_blank_lines_ahead_of_a_request)
{
    expect_complete("\r\n\n\r\n" + test::mail_request("x"), "x");
}

TEST(request_reader, knows_when_something_of_a_request_has_come)
{
    request_reader reader(wide);
    EXPECT_FALSE(reader.started());
    std::string inbox = "\r\n";
    EXPECT_EQ(reader.read(inbox), progress::need_more);
    EXPECT_FALSE(reader.started());
    EXPECT_EQ(reader.request(), nullptr);
    inbox = "REQ";
    EXPECT_EQ(reader.read(inbox), progress::need_more);
    EXPECT_TRUE(reader.started());
    EXPECT_EQ(reader.request(), nullptr);
}

/// Expects that the preview is read from every split and the reader waits; then that the rest is read.
void expect_preview_then_rest(const std::string& request, const std::string& preview, const std::string& rest,
                              const std::string& object)
{
    test::every_split(request, [&](const test::pieces& pieces) {
        reading result(pieces);
        ASSERT_EQ(result.last, progress::preview_ended) << "first piece of " << pieces.front().size();
        EXPECT_EQ(content_of(result.reader.object()), preview);
        EXPECT_TRUE(result.reader.only_preview());
        result.reader.continue_behind_preview();
        EXPECT_FALSE(result.reader.only_preview());
        result.inbox = rest + "next";
        ASSERT_EQ(result.reader.read(result.inbox), progress::complete);
        EXPECT_EQ(content_of(result.reader.object()), object);
        EXPECT_EQ(result.inbox, "next");
    });
    test::every_split(rest, [&](const test::pieces& pieces) {
        reading result({request});
        result.reader.continue_behind_preview();
        progress last = progress::need_more;
        for (const auto piece : pieces) {
            ASSERT_EQ(last, progress::need_more);
            result.inbox.append(piece);
            last = result.reader.read(result.inbox);
        }
        EXPECT_EQ(last, progress::complete);
        EXPECT_EQ(content_of(result.reader.object()), object);
    });
}

TEST(request_reader, waits_behind_a_preview_in_both_forms)
{
    const std::string head = test::object_request_head(10, 4);
    expect_preview_then_rest(head + test::standard_preview("0123456789", 4), "0123", "6\r\n456789\r\n0\r\n\r\n",
                             "0123456789");
    expect_preview_then_rest(head + test::bare_preview("0123456789", 4), "0123", "6\r\n456789\r\n0\r\n\r\n",
                             "0123456789");
}

TEST(request_reader, waits_behind_a_preview_of_no_bytes)
{
    expect_preview_then_rest(test::object_request_head(3, 0) + "0\r\n\r\n", "", "3\r\nabc\r\n0\r\n\r\n", "abc");
}

TEST(request_reader, waits_behind_a_preview_that_an_object_fills_exactly)
{
    expect_preview_then_rest(test::object_request_head(4, 4) + test::bare_preview("0123", 4), "0123", "0\r\n\r\n",
                             "0123");
}

TEST(request_reader, waits_behind_the_preview_of_a_response_that_was_chunked_itself)
{
    const std::string head =
        test::respmod_head(http_request, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", "Preview: 4\r\n");
    expect_preview_then_rest(head + "4\r\n0123\r\n0\r\n\r\n", "0123", "2\r\n45\r\n0\r\n\r\n", "012345");
}

TEST(request_reader, needs_no_more_than_a_preview_that_says_so)
{
    expect_complete(test::object_request_head(3, 4) + test::standard_preview("abc", 4, true), "abc");
    expect_complete(test::object_request_head(4, 4) + test::standard_preview("abcd", 4, true), "abcd");
    expect_complete(test::object_request_head(0, 4) + "0; ieof\r\n\r\n", "");
}

TEST(request_reader, needs_no_more_when_zeros_fill_up_the_preview_of_a_shorter_object)
{
    for (const std::string& object : {"a"s, "abc"s, std::string("a\0b", 3)}) {
        const std::string request = test::object_request_head(object.size(), 31) + test::bare_preview(object, 31);
        expect_complete(request, object);
        std::string inbox = request;
        request_reader reader(wide);
        ASSERT_EQ(reader.read(inbox), progress::complete);
        EXPECT_TRUE(reader.only_preview());
        EXPECT_TRUE(reader.ended_early());
    }
}

TEST(request_reader, keeps_previews_that_look_like_framing)
{
    for (const std::string& object :
         {"\r\n0\r\n\r\nabcd"s, "0123456789a"s, ";ieof\r\n0\r\n\r"s, "\n\n\n\n\n\n\n\n\n\n\n"s}) {
        ASSERT_EQ(object.size(), 11U);
        const std::string head = test::object_request_head(12, 11);
        expect_preview_then_rest(head + test::bare_preview(object, 11), object, "1\r\n.\r\n0\r\n\r\n", object + ".");
        expect_preview_then_rest(head + test::standard_preview(object, 11), object, "1\r\n.\r\n0\r\n\r\n",
                                 object + ".");
    }
}

} // namespace request_reader_test
