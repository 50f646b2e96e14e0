// Every fault of a service as seen by the reader: the item opens, the log contains the reason, the session is kept or
// discarded as specified, no resource is left behind, and the next message is judged again.

#include "tests/end_to_end/desk.h"
#include "tests/support/log_capture.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/process_resources.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using test::conversation;

const std::string options = "ICAP/1.0 200 OK\r\nMethods: REQMOD, RESPMOD\r\nISTag: \"1\"\r\nPreview: 0\r\n"
                            "Encapsulated: null-body=0\r\n\r\n";
const std::string clean = "ICAP/1.0 204 No Content\r\nISTag: \"1\"\r\nEncapsulated: null-body=0\r\n\r\n";
const std::string condemned = "ICAP/1.0 200 OK\r\nISTag: \"1\"\r\nX-Infection-Found: Type=0;Resolution=2;Threat=T;\r\n"
                              "Encapsulated: null-body=0\r\n\r\n";
const std::string end_of_head = "\r\n\r\n";
const std::string end_of_body = "\r\n0\r\n\r\n";

/// The peer's part up to the point where a whole mail has been received.
conversation after_a_mail()
{
    conversation script;
    script.expect_until(end_of_head).send(options).expect_until(end_of_body);
    return script;
}

/// A second connection whose service condemns the mail that it receives.
conversation condemns_the_next()
{
    conversation script;
    script.expect_until(end_of_head).send(options).expect_until(end_of_body).send(condemned);
    return script;
}

struct fault
{
    const char* name;
    conversation (*script)();
    ScanResult verdict;      ///< of the message that met the fault
    bool kept;               ///< the session is used for the next message
    const char* icapclnt_at; ///< text that a line of the client's logger must contain, or null
};

conversation keep(conversation script)
{
    script.expect_until(end_of_body).send(condemned);
    return script;
}

std::string many(std::size_t count, const std::string& text)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

const fault faults[] = {
    {"silent", [] { return after_a_mail(); }, ScanResult::Clean, false, "failed: send request timeout occured"},
    {"closes_instead_of_answering", [] { return std::move(after_a_mail().close()); }, ScanResult::Clean, false,
     "network problem occured: 10058"},
    {"resets_the_connection", [] { return std::move(after_a_mail().reset()); }, ScanResult::Clean, false,
     "network problem occured: "},
    {"closes_in_a_head", [] { return std::move(after_a_mail().send("ICAP/1.0 204 No Con").close()); },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"closes_in_a_body",
     [] {
         return std::move(
             after_a_mail()
                 .send("ICAP/1.0 201 Created\r\nISTag: \"1\"\r\nEncapsulated: res-hdr=0, res-body=40\r\n\r\n"
                       "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n9\r\nabc")
                 .close());
     },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"sends_garbage", [] { return std::move(after_a_mail().send("\x16\x03\x01 what is this?\r\n\r\n")); },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"sends_an_endless_head",
     [] { return std::move(after_a_mail().send("ICAP/1.0 200 OK\r\n" + many(4000, "X-More: and more\r\n"))); },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"answers_500",
     [] {
         return std::move(
             after_a_mail().send("ICAP/1.0 500 Server Error\r\nISTag: \"1\"\r\nEncapsulated: null-body=0\r\n\r\n"));
     },
     ScanResult::Clean, false, "failed: request failed: server reply with error"},
    {"answers_without_encapsulated",
     [] { return std::move(after_a_mail().send("ICAP/1.0 204 No Content\r\nISTag: \"1\"\r\n\r\n")); },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"gives_offsets_that_cannot_be",
     [] {
         return std::move(after_a_mail().send(
             "ICAP/1.0 200 OK\r\nISTag: \"1\"\r\nX-Infection-Found: Type=0;Resolution=2;Threat=T;\r\n"
             "Encapsulated: res-hdr=0, res-body=20000\r\n\r\n" +
             many(1300, "X-Not-A-Head: 1\r\n")));
     },
     ScanResult::Clean, false, "failed: send request timeout occured"},
    {"answers_twice_at_once", [] { return std::move(after_a_mail().send(clean + clean)); }, ScanResult::Clean, false,
     "failed: send request timeout occured"},
    {"answers_byte_by_byte", [] { return keep(std::move(after_a_mail().send_bytewise(clean))); }, ScanResult::Clean,
     true, "response 'no content'"},
    {"answers_ahead_of_the_end",
     [] {
         conversation script;
         script.expect_until(end_of_head).send(options).expect_until("Content-Length").send(clean);
         return keep(std::move(script.expect_until(end_of_body)));
     },
     ScanResult::Clean, true, "response 'no content'"},
};

class service_fault : public testing::TestWithParam<fault>
{};

TEST_P(service_fault, leaves_the_reader_at_work)
{
    const auto& param = GetParam();
    const auto before = test::process_resources::now();
    {
        std::vector<conversation> conversations{param.script()};
        if (!param.kept) {
            conversations.push_back(condemns_the_next());
        }
        const test::scripted_peer peer(std::move(conversations));
        const test::log_capture log;
        test::desk desk(peer.port());

        const auto first = desk.open(test::plain_mail("Nothing special."));
        EXPECT_EQ(first.result, S_OK);
        EXPECT_FALSE(first.blocked);
        EXPECT_EQ(first.verdict, param.verdict);
        EXPECT_TRUE(log.contains(param.icapclnt_at)) << testing::PrintToString(log.texts("icapclnt"));
        EXPECT_EQ(peer.connections(), 1U);
        EXPECT_EQ(log.contains("release invalid session"), !param.kept);

        const auto second = desk.open(test::plain_mail("The next one.", "<next@example.org>"));
        EXPECT_EQ(second.result, S_OK);
        EXPECT_EQ(second.verdict, ScanResult::Blocked);
        EXPECT_EQ(peer.connections(), param.kept ? 1U : 2U);
    }
    EXPECT_EQ(test::process_resources::settled(before), before);
}

INSTANTIATE_TEST_SUITE_P(each, service_fault, testing::ValuesIn(faults),
                         [](const auto& tried) { return std::string(tried.param.name); });

TEST(service_absent, the_item_opens_unscanned_and_every_opening_tries_again)
{
    std::uint16_t port = 0;
    {
        const auto listener = test::loopback_socket::listen();
        port = listener.port();
    }
    const test::log_capture log;
    test::desk desk(port);
    for (int opening = 0; opening < 2; ++opening) {
        const auto opened = desk.open(test::plain_mail("Nothing special."));
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_FALSE(opened.blocked);
        EXPECT_EQ(opened.verdict, ScanResult::None);
    }
    const auto lines = log.texts("outlook");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "No ICAP server available"), 2);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "No connection to ICAP server"), 2);
    EXPECT_FALSE(log.contains("Adding message to cache"));
    EXPECT_TRUE(log.contains("could not connect: socket connect with error 10061"));
}

TEST(service_that_accepts_and_is_silent, counts_as_absent)
{
    const auto before = test::process_resources::now();
    {
        std::vector<conversation> conversations(1);
        conversations[0].expect_until(end_of_head);
        const test::scripted_peer peer(std::move(conversations));
        const test::log_capture log;
        test::desk desk(peer.port());
        const auto opened = desk.open(test::plain_mail("Nothing special."));
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_EQ(opened.verdict, ScanResult::None);
        EXPECT_TRUE(log.contains(") failed: send request timeout occured"));
        EXPECT_TRUE(log.contains("No ICAP server available"));
    }
    EXPECT_EQ(test::process_resources::settled(before), before);
}

TEST(service_that_closes_in_the_middle_of_options, counts_as_absent_until_it_answers)
{
    std::vector<conversation> conversations;
    conversations.push_back(
        std::move(conversation().expect_until(end_of_head).send("ICAP/1.0 200 OK\r\nMeth").close()));
    conversations.push_back(condemns_the_next());
    const test::scripted_peer peer(std::move(conversations));
    test::desk desk(peer.port());
    EXPECT_EQ(desk.open(test::plain_mail("Nothing special.")).verdict, ScanResult::None);
    EXPECT_FALSE(desk.link().IsConnected());
    // The first check without a failure has used up the right to connect immediately. The link of this desk connects on
    // every request.
    EXPECT_EQ(desk.open(test::plain_mail("Nothing special.")).verdict, ScanResult::Blocked);
}

TEST(stored_verdict, sends_no_byte_at_the_second_opening)
{
    std::vector<conversation> conversations{std::move(after_a_mail().send(clean))};
    const test::scripted_peer peer(std::move(conversations));
    test::desk desk(peer.port());
    const auto first = desk.open(test::plain_mail("Nothing special."));
    EXPECT_EQ(first.verdict, ScanResult::Clean);
    const std::string sent = peer.received(0);
    const test::log_capture log;
    const auto again = desk.reopen(first);
    EXPECT_EQ(again.verdict, ScanResult::Clean);
    EXPECT_FALSE(again.blocked);
    EXPECT_TRUE(log.contains("Message found in cache, its saved verdict: 1"));
    EXPECT_EQ(peer.received(0), sent);
    EXPECT_EQ(peer.connections(), 1U);
}

TEST(verdict_known_only_in_memory, blocks_the_display)
{
    std::vector<conversation> conversations{std::move(after_a_mail().send(condemned))};
    const test::scripted_peer peer(std::move(conversations));
    test::desk desk(peer.port());
    EXPECT_FALSE(desk.open(test::plain_mail("Nothing special."), "the same").blocked);
    const test::log_capture log;
    const auto again = desk.open(test::plain_mail("Nothing special."), "the same");
    EXPECT_TRUE(again.blocked);
    EXPECT_EQ(again.verdict, ScanResult::Blocked);
    EXPECT_TRUE(log.contains("blocking the message display"));
    EXPECT_EQ(peer.connections(), 1U);
}

} // namespace
