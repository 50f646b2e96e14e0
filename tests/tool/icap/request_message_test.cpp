#include "tests/support/guarded_buffer.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/icap/request_message.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace request_message_test {

using test::append;
using test::chunk;
using test::encapsulated;
using test::extract_request;
using test::last_chunk;
using test::raised;
using test::reqmod;
using test::respmod;

const std::string get_head = test::head({"GET http://host/a HTTP/1.1", "Host: host"});
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Content-Length: 5"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});

// ---- construction

TEST(icap_request, knows_its_three_methods)
{
    EXPECT_EQ(extract_request("OPTIONS icap://h/ ICAP/1.0\r\n\r\n")->method(), icap::request_method::options);
    EXPECT_EQ(extract_request(reqmod({"Encapsulated: req-hdr=0, null-body=9"}))->method(),
              icap::request_method::reqmod);
    EXPECT_EQ(extract_request(respmod({"Encapsulated: req-hdr=0, res-hdr=9, res-body=18"}))->method(),
              icap::request_method::respmod);
}

TEST(icap_request, compares_its_method_without_case)
{
    const std::string text = "options icap://h/ ICAP/1.0\r\n\r\n";
    http::request_data record;
    record.method = std::string_view(text).substr(0, 7);
    const icap::request_message message(http::byte_vector(text.begin(), text.end()), record, {});
    EXPECT_EQ(message.method(), icap::request_method::options);
}

TEST(icap_request, refuses_an_unknown_method)
{
    const std::string text = "PUTMOD icap://h/ ICAP/1.0\r\n\r\n";
    http::request_data record;
    record.method = std::string_view(text).substr(0, 6);
    EXPECT_EQ(raised<std::runtime_error>([&] {
                  const icap::request_message message(http::byte_vector(text.begin(), text.end()), record, {});
              }),
              "unknown requet method");
}

TEST(icap_request, needs_a_request_header_entry_unless_it_asks_for_options)
{
    for (const std::string& text :
         {reqmod({"Encapsulated: null-body=0"}), respmod({"Encapsulated: res-hdr=0, res-body=5"})}) {
        EXPECT_EQ(raised<std::runtime_error>([&] { (void)test::extract(text); }),
                  "invalid reqmod request: req-hdr must exists");
    }
    EXPECT_TRUE(extract_request("OPTIONS icap://h/ ICAP/1.0\r\nEncapsulated: null-body=0\r\n\r\n"));
}

TEST(icap_request, reads_preview_and_its_size)
{
    const auto with = extract_request(reqmod({"Preview: 4096", "Encapsulated: req-hdr=0, req-body=9"}));
    EXPECT_TRUE(with->preview_present());
    EXPECT_EQ(with->preview_size(), 4096U);
    const auto zero = extract_request(reqmod({"Preview: none", "Encapsulated: req-hdr=0, req-body=9"}));
    EXPECT_TRUE(zero->preview_present());
    EXPECT_EQ(zero->preview_size(), 0U);
    const auto without = extract_request(reqmod({"Encapsulated: req-hdr=0, req-body=9"}));
    EXPECT_FALSE(without->preview_present());
    EXPECT_EQ(without->preview_size(), 0U);
}

TEST(icap_request, allows_204_by_the_first_number_of_allow)
{
    const auto allows = [](const std::string& value) {
        return extract_request(reqmod({"Allow: " + value, "Encapsulated: req-hdr=0, req-body=9"}))->allow_204();
    };
    EXPECT_TRUE(allows("204"));
    EXPECT_TRUE(allows("204, 206"));
    EXPECT_FALSE(allows("206, 204"));
    EXPECT_FALSE(allows("2040"));
    EXPECT_FALSE(allows("trickle"));
    EXPECT_FALSE(extract_request(reqmod({"Encapsulated: req-hdr=0, req-body=9"}))->allow_204());
}

TEST(icap_request, keeps_head_record_and_offsets)
{
    const std::string text = reqmod({"Host: here", "Encapsulated: req-hdr=0, req-body=9"});
    const auto message = extract_request(text);
    EXPECT_EQ(test::text_of(message->raw_head()), text);
    EXPECT_EQ(message->type(), icap::type_request);
    EXPECT_EQ(message->record().uri, "icap://127.0.0.1:1344/webscan");
    EXPECT_EQ(message->record().protocol, "ICAP");
    EXPECT_EQ(message->encapsulated().req_body_offset, 9U);
    EXPECT_EQ(message->id(), 0U);
    message->set_id(77);
    EXPECT_EQ(message->id(), 77U);
}

// ---- complete() and append() by method

TEST(icap_request, with_reqmod_is_complete_with_its_body)
{
    const auto message = extract_request(reqmod({encapsulated(post_head, "", "req-body")}));
    EXPECT_FALSE(message->complete());
    EXPECT_FALSE(message->has_request());
    EXPECT_EQ(append(*message, post_head), post_head.size());
    EXPECT_TRUE(message->has_request());
    EXPECT_FALSE(message->complete());
    EXPECT_EQ(append(*message, chunk("hello")), 10U);
    EXPECT_FALSE(message->complete());
    EXPECT_EQ(append(*message, last_chunk), 5U);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->request()), "hello");
    EXPECT_FALSE(message->has_response());
}

TEST(icap_request, with_reqmod_and_null_body_is_complete_with_the_http_head)
{
    const auto message = extract_request(reqmod({encapsulated(get_head, "", "null-body")}) + get_head);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::text_of(message->request().raw_head()), get_head);
}

TEST(icap_request, with_respmod_is_complete_with_both_bodies)
{
    const auto message = extract_request(respmod({encapsulated(get_head, page_head, "res-body")}));
    EXPECT_FALSE(message->complete());
    append(*message, get_head);
    EXPECT_TRUE(message->has_request());
    EXPECT_FALSE(message->complete());
    append(*message, page_head);
    EXPECT_TRUE(message->has_response());
    EXPECT_FALSE(message->complete());
    append(*message, chunk("hello") + last_chunk);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->response()), "hello");
    EXPECT_EQ(test::body_of(message->request()), "");
}

TEST(icap_request, with_respmod_and_null_body_is_complete_with_both_heads)
{
    const auto message =
        extract_request(respmod({encapsulated(get_head, page_head, "null-body")}) + get_head + page_head);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
}

TEST(icap_request, tells_the_analyzer_of_the_response_which_method_was_asked)
{
    const std::string ask = test::head({"HEAD http://host/a HTTP/1.1"});
    const auto message = extract_request(respmod({encapsulated(ask, page_head, "res-body")}) + ask + page_head);
    ASSERT_TRUE(message && message->has_response());
    // The response to HEAD has no body, regardless of its Content-Length.
    EXPECT_TRUE(message->response().complete());
}

TEST(icap_request, for_options_is_always_complete)
{
    EXPECT_TRUE(extract_request("OPTIONS icap://h/ ICAP/1.0\r\n\r\n")->complete());
}

TEST(icap_request, of_an_unknown_method_has_no_answer_to_complete)
{
    const icap::detail::encapsulated_part none;
    EXPECT_EQ(raised<std::runtime_error>(
                  [&] { (void)icap::detail::request_complete(icap::request_method::unknown, none, none); }),
              "complete(): unknown request method");
}

TEST(icap_request, refuses_bytes_when_it_is_complete)
{
    const auto message = extract_request(test::mail_request("hello"));
    ASSERT_TRUE(message && message->complete());
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, "x"); }), "request message has been completed");
    const auto options = extract_request("OPTIONS icap://h/ ICAP/1.0\r\n\r\n");
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*options, "x"); }), "request message has been completed");
}

TEST(icap_request, for_options_with_a_preview_has_no_place_for_bytes)
{
    const auto options = extract_request("OPTIONS icap://h/ ICAP/1.0\r\nPreview: 0\r\n\r\n");
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*options, "x"); }), "implementation does not requeried");
}

TEST(icap_request, takes_bytes_behind_its_completion_in_a_preview)
{
    const auto message =
        extract_request(reqmod({"Preview: 5", encapsulated(post_head, "", "req-body")}) + post_head + last_chunk);
    ASSERT_TRUE(message && message->complete());
    EXPECT_EQ(append(*message, chunk("hello")), 10U);
    EXPECT_FALSE(message->complete());
    append(*message, last_chunk);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->request()), "hello");
}

TEST(icap_request, refuses_bytes_behind_the_last_chunk_in_the_same_piece)
{
    const auto message = extract_request(reqmod({encapsulated(post_head, "", "req-body")}));
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, post_head + chunk("hello") + last_chunk + "x"); }),
              "invalid state. body is completed");
}

TEST(icap_request, refuses_a_reversed_range)
{
    const auto message = extract_request(reqmod({encapsulated(post_head, "", "req-body")}));
    const std::string text = "xx";
    EXPECT_EQ(raised<std::runtime_error>([&] { message->append(text.data() + 2, text.data()); }),
              "append: invalid range [beg, end)");
    EXPECT_EQ(append(*message, ""), 0U);
}

// ---- required entries of the Encapsulated header, and heads that do not end where it specifies

TEST(icap_request, with_reqmod_needs_an_end_of_its_head)
{
    EXPECT_EQ(
        raised<std::runtime_error>([&] { (void)test::extract(reqmod({"Encapsulated: req-hdr=0, res-body=9"}) + "x"); }),
        "invalid request body");
}

TEST(icap_request, with_respmod_needs_both_headers_and_an_end)
{
    EXPECT_EQ(raised<std::runtime_error>(
                  [&] { (void)test::extract(respmod({"Encapsulated: req-hdr=0, res-body=9"}) + "x"); }),
              "invalid response header");
    EXPECT_EQ(
        raised<std::runtime_error>([&] { (void)test::extract(respmod({"Encapsulated: req-hdr=0, res-hdr=9"}) + "x"); }),
        "invalid response body");
}

/// Only OPTIONS begins without a req-hdr entry; a response that is set ahead of the request removes the entry.
TEST(icap_request, needs_its_request_header_for_bytes_behind_a_set_response)
{
    for (const std::string& head : {reqmod({"Encapsulated: req-hdr=0, req-body=9"}),
                                    respmod({"Encapsulated: req-hdr=0, res-hdr=9, res-body=20"})}) {
        const auto message = extract_request(head);
        message->set_encapsulated(test::http_message(page_head + "hello"));
        EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, "x"); }), "invalid request header");
    }
}

TEST(icap_request, prefers_null_body_to_req_body_as_the_end_of_its_head)
{
    const std::string end = std::to_string(get_head.size());
    const auto message =
        extract_request(reqmod({"Encapsulated: req-hdr=0, req-body=9999, null-body=" + end}) + get_head);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
}

TEST(icap_request, refuses_an_http_head_that_goes_beyond_its_place)
{
    const auto message = extract_request(reqmod({"Encapsulated: req-hdr=0, req-body=10"}));
    EXPECT_EQ(append(*message, post_head.substr(0, 10)), 10U);
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, post_head.substr(10)); }),
                  "reqmod request: actual header size exceeded header size in request");
    }
}

TEST(icap_request, refuses_either_head_of_respmod_beyond_its_place)
{
    EXPECT_EQ(raised<std::runtime_error>([&] {
                  (void)test::extract(respmod({"Encapsulated: req-hdr=0, res-hdr=10, res-body=99"}) + get_head);
              }),
              "respmod request: actual header size exceeded header size in request");
    const std::string start = std::to_string(get_head.size());
    const std::string end = std::to_string(get_head.size() + 10);
    EXPECT_EQ(raised<std::runtime_error>([&] {
                  (void)test::extract(respmod({"Encapsulated: req-hdr=0, res-hdr=" + start + ", res-body=" + end}) +
                                      get_head + page_head);
              }),
              "respmod request: actual response header size exceeded response header size in request");
}

TEST(icap_request, counts_head_sizes_from_their_own_offsets)
{
    const std::string end = std::to_string(post_head.size() + 7);
    const auto message =
        extract_request(reqmod({"Encapsulated: req-hdr=7, req-body=" + end}) + post_head + chunk("hello") + last_chunk);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->request()), "hello");

    // In a preview, the bytes behind the head of a null body are passed to the body at once.
    const auto null_body =
        extract_request(reqmod({"Preview: 0", "Encapsulated: req-hdr=7, null-body=" + end}) + post_head);
    ASSERT_TRUE(null_body && null_body->complete());
    append(*null_body, chunk("hello") + last_chunk);
    EXPECT_TRUE(null_body->complete());
    EXPECT_EQ(test::body_of(null_body->request()), "hello");

    const std::string start = std::to_string(get_head.size() + 7);
    const std::string second_end = std::to_string(get_head.size() + page_head.size() + 7);
    const auto both =
        extract_request(respmod({"Encapsulated: req-hdr=7, res-hdr=" + start + ", res-body=" + second_end}) + get_head +
                        page_head + chunk("hello") + last_chunk);
    ASSERT_TRUE(both);
    EXPECT_TRUE(both->complete());
    EXPECT_EQ(test::body_of(both->response()), "hello");
}

TEST(icap_request, stays_as_it_stood_after_a_failure_and_reads_nothing_beyond_its_bytes)
{
    const auto message = extract_request(reqmod({encapsulated(post_head, "", "req-body")}));
    append(*message, post_head);
    const test::guarded_buffer over(chunk("hello") + last_chunk + "xyz");
    EXPECT_EQ(raised<std::runtime_error>([&] { message->append(over.begin(), over.end()); }),
              "invalid state. body is completed");
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->request()), "hello");
    const test::guarded_buffer one("z");
    EXPECT_EQ(raised<std::runtime_error>([&] { message->append(one.begin(), one.end()); }),
              "request message has been completed");
}

/// Bytes behind an HTTP head that are still within the place of that head are head bytes, even if a cut is among them;
/// the next part begins by the offsets.
TEST(icap_request, starts_each_part_by_the_offsets_for_every_cut)
{
    const std::string extra = "\r\n\r\n\r\n";
    const std::string heads = get_head + extra + page_head;
    const std::string start = std::to_string(get_head.size() + extra.size());
    const std::string icap_head =
        respmod({"Encapsulated: req-hdr=0, res-hdr=" + start + ", res-body=" + std::to_string(heads.size())});
    const std::string rest = heads + chunk("hello") + last_chunk;
    for (std::size_t cut = 1; cut < rest.size(); ++cut) {
        const auto message = extract_request(icap_head);
        ASSERT_EQ(append(*message, rest.substr(0, cut)), cut);
        ASSERT_EQ(append(*message, rest.substr(cut)), rest.size() - cut);
        EXPECT_TRUE(message->complete()) << cut;
        EXPECT_EQ(test::text_of(message->request().raw_head()), get_head) << cut;
        EXPECT_EQ(test::text_of(message->response().raw_head()), page_head) << cut;
        EXPECT_EQ(test::body_of(message->response()), "hello") << cut;
    }
}

// ---- encapsulated messages

TEST(icap_request, raises_for_messages_that_do_not_exist)
{
    const auto message = extract_request(reqmod({encapsulated(post_head, "", "req-body")}));
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->request(); }), "request message does not exist");
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->response(); }), "response message does not exist");
    for (const std::uint32_t kind : {0U, 1U, 2U, 3U}) {
        EXPECT_EQ(raised<std::runtime_error>([&] { (void)message->release_encapsulated(kind); }),
                  "could not release encapsulated message: unknown message type");
    }
}

TEST(icap_request, gives_its_messages_back)
{
    const auto message =
        extract_request(respmod({encapsulated(get_head, page_head, "null-body")}) + get_head + page_head);
    ASSERT_TRUE(message && message->complete());
    const auto request = message->release_encapsulated(http::type_request);
    EXPECT_EQ(test::text_of(request->raw_head()), get_head);
    EXPECT_FALSE(message->has_request());
    EXPECT_FALSE(message->complete());
    const auto response = message->release_encapsulated(http::type_response);
    EXPECT_EQ(test::text_of(response->raw_head()), page_head);
    EXPECT_FALSE(message->has_response());
}

TEST(icap_request, refuses_bytes_after_its_half_filled_message_was_given_back)
{
    const auto message =
        extract_request(reqmod({encapsulated(post_head, "", "req-body")}) + post_head + "5\r\nhel");
    ASSERT_TRUE(message && message->has_request());
    EXPECT_EQ(test::body_of(*message->release_encapsulated(http::type_request)), "hel");
    for (const char* more : {"lo\r\n0\r\n\r\n", "x"}) {
        EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, more); }),
                  "reqmod request: actual header size exceeded header size in request");
        EXPECT_FALSE(message->has_request());
    }
}

TEST(icap_request, takes_a_message_and_rewrites_its_encapsulated_header)
{
    const auto message = extract_request(reqmod({"Host: h", encapsulated(get_head, "", "null-body")}) + get_head);
    ASSERT_TRUE(message);
    message->set_encapsulated(test::http_message(post_head + "hello"));
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::header_of(*message, "Encapsulated"), "req-hdr=0, req-body=" + std::to_string(post_head.size()));
    EXPECT_EQ(message->encapsulated().req_body, 1);
    EXPECT_EQ(message->encapsulated().null_body, 0);
    EXPECT_EQ(test::wire_of(*message), test::text_of(message->raw_head()) + post_head + chunk("hello") + last_chunk);
}

TEST(icap_request, completes_a_set_message_only_when_it_is_complete)
{
    const auto message = extract_request(reqmod({encapsulated(get_head, "", "null-body")}) + get_head);
    ASSERT_TRUE(message);
    message->set_encapsulated(test::http_message(post_head + "hel"));
    EXPECT_FALSE(message->complete());
}

TEST(icap_request, takes_no_null_message)
{
    const auto message = extract_request(reqmod({encapsulated(get_head, "", "null-body")}) + get_head);
    EXPECT_EQ(raised<std::invalid_argument>([&] { message->set_encapsulated(nullptr); }),
              "set_encapsulated: message is null");
    EXPECT_TRUE(message->has_request());
}

TEST(icap_request, without_an_encapsulated_header_gets_none)
{
    const auto message = extract_request("OPTIONS icap://h/ ICAP/1.0\r\nHost: h\r\n\r\n");
    message->set_encapsulated(test::http_message(get_head));
    EXPECT_EQ(test::header_of(*message, "Encapsulated"), "(absent)");
    EXPECT_EQ(message->encapsulated().req_hdr, 1);
    EXPECT_EQ(message->encapsulated().null_body_offset, get_head.size());
}

TEST(icap_request, refuses_a_request_body_beside_a_response)
{
    const auto message =
        extract_request(reqmod({encapsulated(post_head, "", "req-body")}) + post_head + chunk("hello") + last_chunk);
    ASSERT_TRUE(message && message->complete());
    EXPECT_EQ(raised<std::runtime_error>([&] { message->set_encapsulated(test::http_message(page_head + "hello")); }),
              "'req_body' cannot be placed side-by-side with 'res_body'");
}

// ---- reads of the server side

TEST(icap_request, closes_only_by_a_connection_header_of_another_word)
{
    const auto closes = [](const std::vector<std::string>& lines) {
        std::vector<std::string> all = lines;
        all.emplace_back("Encapsulated: req-hdr=0, null-body=9");
        return extract_request(reqmod(all))->connection_close();
    };
    EXPECT_FALSE(closes({}));
    EXPECT_FALSE(closes({"Connection: keep-alive"}));
    EXPECT_FALSE(closes({"connection: Keep-Alive"}));
    EXPECT_TRUE(closes({"Connection: close"}));
    EXPECT_TRUE(closes({"Connection: "}));
    EXPECT_TRUE(closes({"Connection: keep-alive "}));
}

TEST(icap_request, gives_its_host_with_a_zero_byte)
{
    const auto with = extract_request(reqmod({"Host: 127.0.0.1", "Encapsulated: req-hdr=0, null-body=9"}));
    EXPECT_EQ(test::text_of(with->host()), std::string("127.0.0.1\0", 10));
    const auto without = extract_request(reqmod({"Encapsulated: req-hdr=0, null-body=9"}));
    EXPECT_EQ(test::text_of(without->host()), std::string(1, '\0'));
}

TEST(icap_request, gives_the_path_of_its_uri)
{
    EXPECT_EQ(extract_request(reqmod({"Encapsulated: req-hdr=0, null-body=9"}))->uri_path(), "/webscan");
    EXPECT_EQ(extract_request("OPTIONS /avscan/x.y ICAP/1.0\r\n\r\n")->uri_path(), "/avscan/x");
    EXPECT_EQ(raised<std::runtime_error>([] { (void)extract_request("OPTIONS nothing ICAP/1.0\r\n\r\n")->uri_path(); }),
              "request_message: uri parsing failed");
}

} // namespace request_message_test
