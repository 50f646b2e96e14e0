#include "service/bad_request.h"
#include "service/request_reader.h"
#include "tests/service/requests.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace request_bounds_test {

using service::bad_request;
using service::request_reader;

constexpr request_reader::limits narrow{1000, 100};
const std::string http_request = "GET http://host/file.bin HTTP/1.1\r\n\r\n";

struct refusal
{
    std::uint32_t status = 0; ///< 0: not refused
    std::string why;
};

/// Feeds a text in pieces.
refusal offered(const std::string& text, std::size_t piece)
{
    request_reader reader(narrow);
    std::string inbox;
    for (std::size_t at = 0; at < text.size(); at += piece) {
        inbox.append(text, at, piece);
        try {
            auto last = reader.read(inbox);
            if (last == request_reader::progress::preview_ended) {
                reader.continue_behind_preview();
                last = reader.read(inbox);
            }
            if (last == request_reader::progress::complete) {
                return {};
            }
        } catch (const bad_request& problem) {
            return {problem.status(), problem.what()};
        }
        EXPECT_LE(inbox.size(), 2 * 16640U) << "held without a bound";
    }
    return {};
}

void expect_refused(const std::string& text, std::uint32_t status, std::string_view why)
{
    for (const std::size_t piece : {text.size(), std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
        const refusal result = offered(text, piece);
        EXPECT_EQ(result.status, status) << "pieces of " << piece << " of " << text.substr(0, 60);
        if (!why.empty()) {
            EXPECT_EQ(result.why, why) << "pieces of " << piece;
        }
    }
}

void expect_taken(const std::string& text)
{
    for (const std::size_t piece : {text.size(), std::size_t{1}, std::size_t{7}}) {
        const refusal result = offered(text, piece);
        EXPECT_EQ(result.status, 0U) << result.why;
    }
}

std::string mail_of_chunks(std::size_t size, const std::string& body)
{
    return test::reqmod_head("POST http://host/ HTTP/1.1\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n") +
           body;
}

/// Returns an OPTIONS request of that many bytes.
std::string long_options(std::size_t size)
{
    std::string text = "OPTIONS icap://h/webscan ICAP/1.0\r\nX-Long: ";
    const std::string end = "\r\n\r\n";
    text.append(size - text.size() - end.size(), 'x');
    return text + end;
}

TEST(request_bounds, a_head_has_at_most_16640_bytes)
{
    expect_taken(long_options(16640));
    expect_refused(long_options(16641), 400, "the head is too long");
    expect_refused("OPTIONS icap://h/webscan ICAP/1.0\r\nX-Long: " + std::string(40000, 'x'), 400,
                   "the head is too long");
    std::string many = "OPTIONS icap://h/webscan ICAP/1.0\r\n";
    for (int i = 0; i < 2000; ++i) {
        many += "X-" + std::to_string(i) + ": y\r\n";
    }
    expect_refused(many, 400, "the head is too long");
}

TEST(request_bounds, an_encapsulated_head_has_at_most_16640_bytes)
{
    const std::string head = "GET http://h/ HTTP/1.1\r\nX-Long: " + std::string(16640, 'x') + "\r\n\r\n";
    expect_refused(test::reqmod_head(head), 400, "the offsets of Encapsulated can't be");
}

TEST(request_bounds, bytes_that_begin_no_request_are_refused_at_once)
{
    expect_refused("GET / HTTP/1.1\r\n", 400, "not a request");
    expect_refused(std::string("\x16\x03\x01\x02", 4), 400, "not a request");
    expect_refused("REQX", 400, "not a request");
    expect_refused("ICAP/1.0 200 OK\r\nEncapsulated: null-body=0\r\n\r\n", 400, "");
}

TEST(request_bounds, an_object_of_more_than_the_bound_is_too_large)
{
    const std::string body(1000, 'x');
    expect_taken(mail_of_chunks(1000, test::chunk(body) + "0\r\n\r\n"));
    expect_refused(mail_of_chunks(1001, "3e9\r\n"), 413, "the object is too large");
    expect_refused(mail_of_chunks(1001, test::chunk(body) + "1\r\n"), 413, "the object is too large");
    expect_refused(mail_of_chunks(5000000000, "ffffffff\r\n"), 413, "the object is too large");
    expect_refused(mail_of_chunks(1001, "100000000\r\n"), 400, "a chunk line is not understood");
}

TEST(request_bounds, the_preview_counts_with_the_rest)
{
    const std::string object(1001, 'x');
    expect_taken(test::object_request_head(1000, 100) + test::bare_preview(object, 100) +
                 test::chunk(std::string_view(object).substr(101)) + "0\r\n\r\n");
    expect_refused(test::object_request_head(1001, 100) + test::bare_preview(object, 100) + "385\r\n" + object, 413,
                   "the object is too large");
}

TEST(request_bounds, a_preview_of_more_than_the_bound_is_refused)
{
    expect_taken(test::object_request_head(100, 100) + test::standard_preview(std::string(100, 'x'), 100, true));
    expect_refused(test::object_request_head(200, 101), 400, "the preview is too large");
    expect_refused(test::respmod_head(http_request, test::object_head(10), "Preview: -1\r\n"), 400,
                   "the preview is too large");
    expect_refused(test::respmod_head(http_request, test::object_head(10), "Preview: 99999999999\r\n"), 400,
                   "the preview is too large");
}

TEST(request_bounds, a_preview_holds_no_more_than_it_announces)
{
    // Two chunks in an announced preview of four bytes: the limit of the object's size applies.
    expect_refused(test::object_request_head(2000, 4) + "4\r\nabcd\r\n3e8\r\n", 413, "the object is too large");
}

TEST(request_bounds, a_line_of_the_chunked_body_ends_within_4096_bytes)
{
    const std::string extension(4096 - 5, 'x');
    expect_taken(mail_of_chunks(1, "1;a=" + extension.substr(1) + "\r\nx\r\n0\r\n\r\n"));
    expect_refused(mail_of_chunks(1, "1;a=" + extension + "\r\n"), 400, "a line of the chunked body is too long");
    expect_refused(mail_of_chunks(1, std::string(5000, '0')), 400, "a line of the chunked body is too long");
}

TEST(request_bounds, trailers_have_a_bound)
{
    std::string trailers;
    for (int i = 0; i < 2000; ++i) {
        trailers += "X-Trailer-" + std::to_string(i) + ": y\r\n";
    }
    expect_refused(mail_of_chunks(1, "1\r\nx\r\n0\r\n" + trailers), 400,
                   "the end of the chunked body is not understood");
}

TEST(request_bounds, a_flood_of_tiny_chunks_is_refused)
{
    constexpr request_reader::limits large{10000000, 0};
    request_reader reader(large);
    std::string inbox = mail_of_chunks(1000000, "");
    EXPECT_EQ(reader.read(inbox), request_reader::progress::need_more);
    std::string refused;
    std::size_t chunks = 0;
    try {
        for (; chunks < 200000; ++chunks) {
            inbox.append("1\r\nx\r\n");
            (void)reader.read(inbox);
        }
    } catch (const bad_request& problem) {
        refused = problem.what();
    }
    EXPECT_EQ(refused, "the body comes in too many small chunks");
    EXPECT_GT(chunks, 65536U);
    EXPECT_LT(chunks, 70000U);
}

TEST(request_bounds, chunk_lines_that_are_none_are_refused)
{
    for (const std::string_view line : {"x\r\n", "-1\r\n", "0x5\r\n", "5 5\r\n", "\tg\r\n", ";a=b\r\n"}) {
        expect_refused(mail_of_chunks(5, std::string(line)), 400, "a chunk line is not understood");
    }
    expect_refused(mail_of_chunks(1, "1\r\nxy\r\n0\r\n\r\n"), 400, "a chunk line is not understood");
}

TEST(request_bounds, bytes_that_the_object_does_not_keep_are_refused)
{
    expect_refused(mail_of_chunks(3, "5\r\nabcde\r\n0\r\n\r\n"), 400, "the body is longer than its head says");
    expect_refused(mail_of_chunks(3, test::chunk(std::string("abc\0\0", 5)) + "0\r\n\r\n"), 400,
                   "the body is longer than its head says");
    // After a complete object a preview may contain zeros only.
    expect_refused(test::object_request_head(3, 5) + test::chunk(std::string("abc\0d", 5)) + "0\r\n\r\n", 400, "");
}

TEST(request_bounds, offsets_have_to_be_those_of_the_heads)
{
    const std::string head = "REQMOD icap://h/webscan ICAP/1.0\r\nEncapsulated: ";
    const std::string http = "POST http://host/ HTTP/1.1\r\nContent-Length: 1\r\n\r\n";
    const std::string body = "1\r\nx\r\n0\r\n\r\n";
    ASSERT_EQ(http.size(), 49U);
    expect_taken(head + "req-hdr=0, req-body=49\r\n\r\n" + http + body);
    for (const std::string_view offsets :
         {"req-hdr=0, req-body=48", "req-hdr=0, req-body=50", "req-hdr=0, req-body=0", "req-hdr=9, req-body=1",
          "req-hdr=0, req-body=60", "req-hdr=0", "req-hdr=0, res-body=49", "req-body=49", "null-body=0",
          "req-hdr=0, req-body=2147483647", "req-hdr=0, req-body=99999999999", "req-hdr=0, req-body=49, null-body=49",
          "req-hdr=0, opt-body=49", "nonsense", ""}) {
        expect_refused(head + std::string(offsets) + "\r\n\r\n" + http + body, 400, "");
    }
    expect_refused("REQMOD icap://h/webscan ICAP/1.0\r\n\r\n" + http + body, 400, "Encapsulated tag missed");
}

TEST(request_bounds, a_respmod_needs_no_head_but_those_it_announces)
{
    const std::string response = test::object_head(1);
    const std::string body = "1\r\nx\r\n0\r\n\r\n";
    const auto with = [&](const std::string& offsets, const std::string& heads) {
        return "RESPMOD icap://h/webscan ICAP/1.0\r\nEncapsulated: " + offsets + "\r\n\r\n" + heads + body;
    };
    const std::string first = std::to_string(http_request.size());
    const std::string both = std::to_string(http_request.size() + response.size());
    expect_taken(with("req-hdr=0, res-hdr=" + first + ", res-body=" + both, http_request + response));
    expect_taken(with("res-hdr=0, res-body=" + std::to_string(response.size()), response));
    expect_taken(with("req-hdr=0, res-body=" + first, http_request));
    expect_refused(with("res-hdr=0, res-body=" + first, http_request), 400,
                   "the encapsulated response doesn't end where Encapsulated says");
    expect_refused(with("req-hdr=0, res-hdr=" + both + ", res-body=" + first, http_request + response), 400,
                   "the offsets of Encapsulated can't be");
    expect_refused(with("req-hdr=0, res-hdr=5, res-body=" + both, http_request + response), 400, "");
}

TEST(request_bounds, a_head_that_no_grammar_knows_is_refused)
{
    expect_refused("REQMOD icap://h/webscan ICAP/2.x\r\n\r\n", 400, "");
    expect_refused("REQMOD icap://h/webscan ICAP/1.0\r\nno colon here\r\n\r\n", 400, "");
    expect_refused("REQMOD\r\n\r\n", 400, "");
}

TEST(request_bounds, an_options_request_with_a_body_is_refused)
{
    // Its Encapsulated line is not evaluated, so the body would be read as the next request.
    const std::string request =
        "OPTIONS icap://h/webscan ICAP/1.0\r\nEncapsulated: opt-body=0\r\n\r\n3\r\nabc\r\n0\r\n\r\n";
    request_reader reader(narrow);
    std::string inbox = request;
    EXPECT_EQ(reader.read(inbox), request_reader::progress::complete);
    request_reader next(narrow);
    EXPECT_THROW(next.read(inbox), bad_request);
}

} // namespace request_bounds_test
