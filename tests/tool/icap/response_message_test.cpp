#include "tests/support/guarded_buffer.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace response_message_test {

using icap::response_body_type;
using test::append;
using test::chunk;
using test::encapsulated;
using test::extract_reply;
using test::last_chunk;
using test::raised;
using test::reply;

const std::string overflow = "inmemory_cache::append() failed: max size exceeded";
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Content-Length: 5"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});

response_body_type type_of(const std::string& list)
{
    return extract_reply(reply(200, {"Encapsulated: " + list}))->body_type();
}

TEST(icap_reply, has_the_type_of_its_first_header_entry)
{
    EXPECT_EQ(type_of("req-hdr=0, req-body=9"), response_body_type::request);
    EXPECT_EQ(type_of("req-hdr=0, null-body=9"), response_body_type::request);
    EXPECT_EQ(type_of("res-hdr=0, res-body=9"), response_body_type::response);
    EXPECT_EQ(type_of("req-hdr=0, res-hdr=100, res-body=200"), response_body_type::request);
    EXPECT_EQ(type_of("null-body=0"), response_body_type::none);
    EXPECT_EQ(type_of("res-hdr=0, null-body=0"), response_body_type::response);
}

TEST(icap_reply, without_a_known_type_is_refused)
{
    for (const char* list : {"opt-body=0", "null-body=1", "res-body=0", "req-body=0", "null-body =0"}) {
        EXPECT_EQ(raised<std::runtime_error>([&] { (void)type_of(list); }), "unknown type of body for response")
            << list;
    }
}

TEST(icap_reply, keeps_head_status_and_offsets)
{
    const std::string text = reply(204, {"ISTag: \"t\"", "Encapsulated: null-body=0"});
    const auto message = extract_reply(text);
    EXPECT_EQ(message->type(), icap::type_response);
    EXPECT_EQ(message->status(), 204U);
    EXPECT_EQ(message->record().reason, "Words");
    EXPECT_EQ(test::text_of(message->raw_head()), text);
    EXPECT_EQ(message->encapsulated().null_body, 1);
    message->set_id(5);
    EXPECT_EQ(message->id(), 5U);
}

TEST(icap_reply, without_a_body_is_complete_at_once_and_takes_nothing)
{
    const auto message = extract_reply(reply(204, {"Encapsulated: null-body=0"}));
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, "x"); }), "request message has been completed");
}

TEST(icap_reply, with_an_http_response_is_complete_with_its_body)
{
    const auto message = extract_reply(reply(200, {encapsulated("", page_head, "res-body")}));
    EXPECT_FALSE(message->complete());
    append(*message, page_head);
    EXPECT_TRUE(message->has_response());
    EXPECT_FALSE(message->has_request());
    EXPECT_FALSE(message->complete());
    append(*message, chunk("hello") + last_chunk);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->response()), "hello");
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, "x"); }), "request message has been completed");
}

TEST(icap_reply, with_an_http_request_is_complete_with_its_body)
{
    const auto message =
        extract_reply(reply(200, {encapsulated(post_head, "", "req-body")}) + post_head + chunk("hello") + last_chunk);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_TRUE(message->has_request());
    EXPECT_EQ(test::body_of(message->request()), "hello");
}

TEST(icap_reply, with_a_null_body_is_complete_with_its_http_head)
{
    const auto message = extract_reply(reply(200, {encapsulated("", page_head, "null-body")}) + page_head);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
}

TEST(icap_reply, of_an_unknown_type_has_no_answer_to_complete)
{
    const icap::detail::encapsulated_part none;
    EXPECT_EQ(raised<std::runtime_error>(
                  [&] { (void)icap::detail::response_complete(response_body_type::unknown, none, none); }),
              "complete(): unknown type of body for response");
}

TEST(icap_reply, in_a_preview_takes_nothing_behind_its_completion)
{
    const auto message =
        extract_reply(reply(200, {"Preview: 5", encapsulated("", page_head, "null-body")}) + page_head);
    ASSERT_TRUE(message);
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, chunk("x")); }), "request message has been completed");
}

TEST(icap_reply, with_two_heads_but_no_end_of_the_first_fails)
{
    EXPECT_EQ(raised<std::runtime_error>([] {
                  (void)test::extract(reply(200, {"Encapsulated: req-hdr=0, res-hdr=100, res-body=200"}) + "x");
              }),
              "invalid request body");
}

TEST(icap_reply, with_an_http_response_needs_an_end_of_its_head)
{
    EXPECT_EQ(raised<std::runtime_error>(
                  [] { (void)test::extract(reply(200, {"Encapsulated: res-hdr=0, req-body=9"}) + "x"); }),
              "invalid response body");
}

TEST(icap_reply, starts_its_body_by_the_offsets_and_not_where_the_http_head_ends)
{
    const std::string bare_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 15"});
    const std::string extra = "0123456789";
    const std::string text =
        reply(200, {"Encapsulated: res-hdr=0, res-body=" + std::to_string(bare_head.size() + extra.size())});
    const std::string body = bare_head + extra + chunk("hello") + last_chunk;
    const auto whole = extract_reply(text + body);
    ASSERT_TRUE(whole);
    EXPECT_TRUE(whole->complete());
    EXPECT_EQ(test::text_of(whole->response().raw_head()), bare_head);
    // The HTTP analyzer passes bytes behind its head to its message.
    EXPECT_EQ(test::body_of(whole->response()), extra + "hello");
    for (std::size_t cut = 1; cut < body.size(); ++cut) {
        const auto message = extract_reply(text);
        append(*message, body.substr(0, cut));
        append(*message, body.substr(cut));
        EXPECT_TRUE(message->complete()) << cut;
        EXPECT_EQ(test::body_of(message->response()), test::body_of(whole->response())) << cut;
    }
}

// ---- a head that does not end within its size: there is no separate check, the limit of the HTTP analyzer ends it

TEST(icap_reply, with_a_head_beyond_its_size_ends_by_the_overflow_of_the_http_analyzer)
{
    EXPECT_EQ(raised<std::out_of_range>(
                  [] { (void)test::extract(reply(200, {"Encapsulated: res-hdr=0, res-body=10"}) + page_head); }),
              overflow);
    EXPECT_EQ(raised<std::out_of_range>(
                  [] { (void)test::extract(reply(200, {"Encapsulated: req-hdr=0, req-body=10"}) + post_head); }),
              overflow);
}

TEST(icap_reply, ends_by_the_overflow_also_when_the_http_analyzer_drops_what_it_gets)
{
    EXPECT_EQ(raised<std::out_of_range>(
                  [] { (void)test::extract(reply(200, {"Encapsulated: res-hdr=0, res-body=4"}) + "????" + "!"); }),
              overflow);
}

TEST(icap_reply, with_no_room_for_a_head_ends_by_the_overflow)
{
    EXPECT_EQ(raised<std::out_of_range>(
                  [] { (void)test::extract(reply(200, {"Encapsulated: res-hdr=0, res-body=0"}) + page_head); }),
              overflow);
}

TEST(icap_reply, ends_by_the_overflow_again_at_each_further_byte)
{
    const auto message = extract_reply(reply(200, {"Encapsulated: res-hdr=0, res-body=10"}));
    EXPECT_EQ(append(*message, page_head.substr(0, 10)), 10U);
    for (std::size_t place = 10; place < page_head.size(); ++place) {
        const test::guarded_buffer one(page_head.substr(place, 1));
        EXPECT_EQ(raised<std::out_of_range>([&] { message->append(one.begin(), one.end()); }), overflow);
    }
    EXPECT_FALSE(message->complete());
    EXPECT_FALSE(message->has_response());
}

TEST(icap_reply, with_offsets_in_the_wrong_order_ends_by_the_overflow)
{
    const auto message = extract_reply(reply(200, {"Encapsulated: res-hdr=50, res-body=10"}));
    const std::string line(16640, 'x');
    append(*message, "HTTP/1.1 200 OK\r\nA: ");
    EXPECT_EQ(raised<std::out_of_range>([&] { append(*message, line); }), overflow);
}

TEST(icap_reply, takes_an_http_head_of_16640_bytes_and_not_one_more)
{
    for (const std::size_t size : {std::size_t{16640}, std::size_t{16641}}) {
        const std::string start = "HTTP/1.1 204 No\r\nA: ";
        const std::string http = start + std::string(size - start.size() - 4, 'x') + "\r\n\r\n";
        ASSERT_EQ(http.size(), size);
        const auto message = extract_reply(reply(200, {encapsulated("", http, "null-body")}));
        if (size == 16640) {
            EXPECT_EQ(append(*message, http), size);
            EXPECT_TRUE(message->complete());
        } else {
            EXPECT_EQ(raised<std::out_of_range>([&] { append(*message, http); }), overflow);
        }
    }
}

// ---- setting, releasing, reading

TEST(icap_reply, takes_a_page_and_rewrites_its_encapsulated_header)
{
    const auto message = extract_reply(reply(200, {"ISTag: \"t\"", "X-Z: z", "Encapsulated: null-body=0"}));
    message->set_encapsulated(test::http_message(page_head + "hello"));
    const std::string list = "res-hdr=0, res-body=" + std::to_string(page_head.size());
    EXPECT_EQ(test::header_of(*message, "Encapsulated"), list);
    EXPECT_EQ(test::text_of(message->raw_head()),
              "ICAP/1.0 200 Words\r\nEncapsulated: " + list + "\r\nISTag: \"t\"\r\nX-Z: z\r\n\r\n");
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(message->body_type(), response_body_type::none);
    EXPECT_EQ(test::wire_of(*message), test::text_of(message->raw_head()) + page_head + chunk("hello") + last_chunk);
}

TEST(icap_reply, takes_a_request_ahead_of_a_page)
{
    const std::string get_head = test::head({"GET http://host/ HTTP/1.1"});
    const auto message = extract_reply(reply(200, {"Encapsulated: null-body=0"}));
    message->set_encapsulated(test::http_message(get_head));
    message->set_encapsulated(test::http_message(page_head + "hello"));
    EXPECT_EQ(test::header_of(*message, "Encapsulated"),
              "req-hdr=0, res-hdr=" + std::to_string(get_head.size()) +
                  ", res-body=" + std::to_string(get_head.size() + page_head.size()));
    EXPECT_EQ(test::wire_of(*message),
              test::text_of(message->raw_head()) + get_head + page_head + chunk("hello") + last_chunk);
}

TEST(icap_reply, reads_only_with_offsets_that_fit_its_messages)
{
    const auto message = extract_reply(test::page_reply(200, "hello"));
    ASSERT_TRUE(message && message->complete());
    EXPECT_TRUE(message->reader());
    const auto released = message->release_encapsulated(http::type_response);
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->reader(); }), "built encapsulated tag is wrong");
}

TEST(icap_reply, with_an_announced_but_empty_body_does_not_fit_its_offsets)
{
    const auto message = extract_reply(test::page_reply(200, ""));
    ASSERT_TRUE(message && message->complete());
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->reader(); }), "built encapsulated tag is wrong");
}

TEST(icap_reply, raises_for_messages_that_do_not_exist)
{
    const auto message = extract_reply(reply(204, {"Encapsulated: null-body=0"}));
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->request(); }), "request message does not exist");
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->response(); }), "response message does not exist");
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->release_encapsulated(http::type_response); }),
              "could not release encapsulated message: unknown message type");
}

// ---- the header table

TEST(icap_headers, of_two_lines_of_one_name_count_the_first)
{
    const auto message = extract_reply(reply(204, {"istag: one", "ISTag: two", "Encapsulated: null-body=0"}));
    EXPECT_EQ(test::header_of(*message, "ISTag"), "one");
    EXPECT_EQ(test::header_of(*message, "ISTAG"), "one");
}

TEST(icap_headers, add_inserts_an_absent_name_only)
{
    const auto message = extract_reply(reply(204, {"B: 2", "Encapsulated: null-body=0"}));
    const std::string before = test::text_of(message->raw_head());
    EXPECT_FALSE(message->headers().add("b", "other"));
    EXPECT_EQ(test::text_of(message->raw_head()), before);
    EXPECT_TRUE(message->headers().add("A", "1"));
    EXPECT_EQ(test::text_of(message->raw_head()),
              "ICAP/1.0 204 Words\r\nA: 1\r\nB: 2\r\nEncapsulated: null-body=0\r\n\r\n");
    EXPECT_EQ(message->status(), 204U);
}

TEST(icap_headers, set_remove_and_replace_rebuild_the_head)
{
    const auto message = extract_reply(reply(204, {"B: 2", "Encapsulated: null-body=0"}));
    message->headers().set("B", "3");
    EXPECT_EQ(test::header_of(*message, "B"), "3");
    message->headers().replace("B", "C", "4");
    EXPECT_EQ(test::text_of(message->raw_head()), "ICAP/1.0 204 Words\r\nC: 4\r\nEncapsulated: null-body=0\r\n\r\n");
    EXPECT_TRUE(message->headers().remove("C"));
    EXPECT_FALSE(message->headers().remove("C"));
    EXPECT_EQ(test::text_of(message->raw_head()), "ICAP/1.0 204 Words\r\nEncapsulated: null-body=0\r\n\r\n");
}

TEST(icap_headers, of_a_request_keep_its_start_line)
{
    const auto message = test::extract_request(test::reqmod({"Encapsulated: req-hdr=0, req-body=9"}));
    EXPECT_TRUE(message->headers().add("Allow", "204"));
    EXPECT_EQ(test::text_of(message->raw_head()), "REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\nAllow: 204\r\n"
                                                  "Encapsulated: req-hdr=0, req-body=9\r\n\r\n");
    EXPECT_EQ(message->record().uri, "icap://127.0.0.1:1344/webscan");
}

TEST(icap_headers, enumerate_in_the_order_of_the_table)
{
    const auto message = extract_reply(reply(204, {"b: 2", "Encapsulated: null-body=0", "A: 1"}));
    const auto walker = message->headers().enumerator();
    std::vector<std::string> names;
    while (!walker->at_end()) {
        names.push_back(walker->current().first);
        walker->next();
    }
    EXPECT_EQ(names, (std::vector<std::string>{"A", "b", "Encapsulated"}));
}

TEST(icap_headers, are_the_same_through_either_access)
{
    const auto message = extract_reply(reply(204, {"Encapsulated: null-body=0"}));
    const icap::message& constant = *message;
    EXPECT_EQ(&constant.headers(), &message->headers());
}

} // namespace response_message_test
