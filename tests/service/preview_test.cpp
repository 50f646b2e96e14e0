#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace {

using test::answer;
using test::started_server;
using test::wire_client;

/// Returns the preview of an object in the standard form or in the client's form.
std::string preview_of(const std::string& object, std::size_t preview_size, bool bare)
{
    return bare ? test::bare_preview(object, preview_size) : test::standard_preview(object, preview_size);
}

/// Sends an object as far as the service requests it. Returns the status of the last response.
std::uint32_t scanned(wire_client& client, const std::string& object, std::size_t preview_size, bool bare)
{
    const answer first =
        client.ask(test::object_request_head(object.size(), preview_size) + preview_of(object, preview_size, bare));
    if (first.status() != 100) {
        return first.status();
    }
    EXPECT_EQ(first.field("Encapsulated"), "null-body=0");
    const std::string_view rest = std::string_view(object).substr(preview_size);
    std::string text;
    for (std::size_t at = 0; at < rest.size(); at += 8192) {
        text += test::chunk(rest.substr(at, 8192));
    }
    return client.ask(text.append(test::end_mark)).status();
}

class previews : public testing::TestWithParam<bool>
{};

TEST_P(previews, of_clean_objects)
{
    const started_server server;
    wire_client client = server.client();
    for (const std::size_t preview : {1, 31, 1024}) {
        for (const std::size_t size : {std::size_t{4}, preview, preview + 1, preview + 8192, std::size_t{100000}}) {
            if (size >= preview) {
                EXPECT_EQ(scanned(client, std::string(size, 'x'), preview, GetParam()), 204U)
                    << size << " bytes, preview of " << preview;
            }
        }
    }
}

TEST_P(previews, of_infected_objects)
{
    const started_server server;
    wire_client client = server.client();
    const std::string infected = service::antivirus_test_text();
    for (const std::size_t preview : {1, 31, 68, 69, 1024}) {
        for (const std::size_t ahead : {std::size_t{0}, preview, std::size_t{20000}}) {
            const std::string object = std::string(ahead, 'x') + infected + "behind" + std::string(preview, 'y');
            EXPECT_EQ(scanned(client, object, preview, GetParam()), 200U)
                << ahead << " bytes ahead, preview of " << preview;
        }
    }
}

TEST_P(previews, of_repairable_objects)
{
    const started_server server;
    wire_client client = server.client();
    EXPECT_EQ(scanned(client, "ahead" + service::repairable_test_text() + "behind", 31, GetParam()), 201U);
}

TEST_P(previews, of_objects_that_look_like_framing)
{
    const started_server server;
    wire_client client = server.client();
    for (const std::string_view beginning :
         {"\r\n", "\r\n0\r\n\r\n", "0\r\n\r\n", "; ieof\r\n\r\n", "abcdef", "\n\n\n"}) {
        const std::string object = std::string(beginning) + service::antivirus_test_text() + std::string(100, '\n');
        EXPECT_EQ(scanned(client, object, 31, GetParam()), 200U) << testing::PrintToString(beginning);
        EXPECT_EQ(scanned(client, std::string(beginning) + std::string(100, '\r'), 31, GetParam()), 204U);
    }
}

INSTANTIATE_TEST_SUITE_P(both_forms, previews, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "bare" : "standard"; });

TEST(preview, of_no_bytes_asks_for_the_object)
{
    const started_server server;
    wire_client client = server.client();
    EXPECT_EQ(scanned(client, "harmless", 0, true), 204U);
    EXPECT_EQ(scanned(client, service::antivirus_test_text(), 0, true), 200U);
    EXPECT_EQ(scanned(client, "harmless", 0, false), 204U);
}

TEST(preview, that_is_the_whole_object_is_judged_at_once)
{
    const started_server server;
    wire_client client = server.client();
    const std::string infected = service::antivirus_test_text();
    EXPECT_EQ(client.ask(test::object_request_head(68, 1024) + test::standard_preview(infected, 1024, true)).status(),
              200U);
    EXPECT_EQ(client.ask(test::object_request_head(8, 1024) + test::standard_preview("harmless", 1024, true)).status(),
              204U);
    // Padded with zeros, as the client does.
    EXPECT_EQ(client.ask(test::object_request_head(68, 1024) + test::bare_preview(infected, 1024)).status(), 200U);
    EXPECT_EQ(client.ask(test::object_request_head(8, 1024) + test::bare_preview("harmless", 1024)).status(), 204U);
}

TEST(preview, is_enough_for_a_204_that_was_not_allowed_but_not_with_the_rest)
{
    const started_server server;
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(3, 31, "") + test::standard_preview("abc", 31, true)).status(),
              204U);
    const std::string object = "0123456789";
    EXPECT_EQ(client.ask(test::object_request_head(10, 4, "") + test::standard_preview(object, 4)).status(), 100U);
    const answer whole = client.ask("6\r\n456789\r\n0\r\n\r\n");
    EXPECT_EQ(whole.status(), 200U);
    EXPECT_EQ(whole.object(), object);
}

TEST(preview, and_rest_may_come_in_one_piece_or_byte_by_byte)
{
    const started_server server;
    wire_client client = server.client();
    const std::string object = service::antivirus_test_text();
    const std::string request = test::object_request_head(68, 31) + test::bare_preview(object, 31);
    const std::string rest = test::chunk(std::string_view(object).substr(31)) + "0\r\n\r\n";
    ASSERT_TRUE(client.send(request + rest));
    EXPECT_EQ(client.read_answer().status(), 100U);
    EXPECT_EQ(client.read_answer().status(), 200U);
    ASSERT_TRUE(client.send_in_pieces(request, 1));
    EXPECT_EQ(client.read_answer().status(), 100U);
    ASSERT_TRUE(client.send_in_pieces(rest, 1));
    EXPECT_EQ(client.read_answer().status(), 200U);
}

TEST(preview, of_a_post_is_served_too)
{
    const started_server server;
    wire_client client = server.client();
    const std::string head = test::reqmod_head("POST http://host/form HTTP/1.1\r\nContent-Length: 68\r\n\r\n",
                                               "Allow: 204\r\nPreview: 31\r\n");
    const std::string object = service::antivirus_test_text();
    EXPECT_EQ(client.ask(head + test::bare_preview(object, 31)).status(), 100U);
    EXPECT_EQ(client.ask(test::chunk(std::string_view(object).substr(31)) + "0\r\n\r\n").status(), 200U);
}

TEST(preview, of_a_get_that_is_filled_up_with_zeros_is_clean)
{
    const started_server server;
    wire_client client = server.client();
    const std::string head = test::reqmod_head("GET http://host/ HTTP/1.1\r\n\r\n", "Allow: 204\r\nPreview: 31\r\n");
    EXPECT_EQ(client.ask(head + test::bare_preview("", 31)).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("next")).status(), 204U);
}

TEST(preview, that_goes_wrong_behind_the_100_ends_the_connection)
{
    const started_server server;
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(10, 4) + test::standard_preview("0123456789", 4)).status(), 100U);
    EXPECT_EQ(client.ask("nonsense\r\n").status(), 400U);
    EXPECT_TRUE(client.closed_by_service());
}

} // namespace
