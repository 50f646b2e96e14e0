#include "service/engine/clamd_engine.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/scripted_peer.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace clamd_engine_test {

using namespace service;
using namespace std::chrono_literals;
using namespace std::string_literals;
using test::conversation;
using test::scripted_peer;

const std::string end_of_object("\0\0\0\0", 4);
const std::string command("zINSTREAM\0", 10);

std::unique_ptr<web::io_data> stored(std::string_view text)
{
    auto store = web::make_body_store(text.size());
    EXPECT_EQ(store->append(text.data(), text.size()), text.size());
    return store;
}

std::string zero_ended(std::string_view text)
{
    return std::string(text).append(1, '\0');
}

/// Reads the command first, because its last byte and the size of the first chunk look like the end mark.
conversation whole_object()
{
    return conversation().expect(command.size()).expect_until(end_of_object);
}

/// A clamd that sends this reply once it has received the whole object.
std::vector<conversation> answering(const std::string& reply)
{
    return {whole_object().send(reply)};
}

verdict judged(std::uint16_t port, std::string_view object, std::chrono::milliseconds timeout = 20000ms)
{
    clamd_engine engine(clamd_tcp_endpoint("localhost", port), timeout);
    const auto store = stored(object);
    return scan(engine, {"name", object.size()}, *store, service::stop_token());
}

std::string error_of(const verdict& outcome)
{
    const auto* const failure = std::get_if<error_verdict>(&outcome);
    return failure == nullptr ? "no error" : failure->why;
}

TEST(clamd_engine, streams_the_object_in_chunks_with_their_sizes)
{
    scripted_peer clamd(answering(zero_ended("stream: OK")));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(clamd.port(), "hello")));
    EXPECT_EQ(clamd.received(0), command + std::string("\0\0\0\x05hello", 9) + end_of_object);
}

TEST(clamd_engine, sends_nothing_but_the_end_of_an_empty_object)
{
    scripted_peer clamd(answering(zero_ended("stream: OK")));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(clamd.port(), "")));
    EXPECT_EQ(clamd.received(0), command + end_of_object);
}

TEST(clamd_engine, sends_all_of_a_large_object)
{
    std::string object;
    for (int i = 0; object.size() < 200000; ++i) {
        object += std::to_string(i) + " ";
    }
    scripted_peer clamd(answering(zero_ended("stream: OK")));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(clamd.port(), object)));
    const std::string received = clamd.received(0);
    std::string_view rest = received;
    ASSERT_TRUE(rest.starts_with(command));
    rest.remove_prefix(command.size());
    std::string arrived;
    while (rest.size() >= 4) {
        std::uint32_t size = 0;
        for (int i = 0; i < 4; ++i) {
            size = size << 8U | static_cast<unsigned char>(rest[static_cast<std::size_t>(i)]);
        }
        ASSERT_LE(size, rest.size() - 4);
        arrived.append(rest.substr(4, size));
        rest.remove_prefix(4 + size);
    }
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(arrived, object);
}

TEST(clamd_engine, names_what_clamd_found)
{
    scripted_peer clamd(answering(zero_ended("stream: Some.Name-1 FOUND")));
    const verdict outcome = judged(clamd.port(), "hello");
    ASSERT_TRUE(std::holds_alternative<blocked_verdict>(outcome));
    EXPECT_EQ(std::get<blocked_verdict>(outcome).threat, "Some.Name-1");
}

TEST(clamd_engine, reads_an_answer_that_comes_in_pieces)
{
    scripted_peer clamd({whole_object().send_bytewise(zero_ended("stream: A FOUND"))});
    EXPECT_TRUE(std::holds_alternative<blocked_verdict>(judged(clamd.port(), "hello")));
}

TEST(clamd_engine, clears_nothing_that_clamd_did_not_clear)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {zero_ended("stream: Can't allocate memory ERROR"), "stream: Can't allocate memory ERROR"},
        {zero_ended("UNKNOWN COMMAND"), "answer not understood: UNKNOWN COMMAND"},
        {zero_ended(""), "answer not understood: "},
        {zero_ended("stream: OK") + "x", "answer not understood: stream: OK?x"},
        {zero_ended("stream: OK") + zero_ended("stream: OK"), "answer not understood: stream: OK?stream: OK?"},
        {"\x01\x02\xFF"s + zero_ended(""), "answer not understood: ???"},
        {std::string(10000, 'x'), "answer not understood: " + std::string(200, 'x')},
    };
    for (const auto& [reply, why] : cases) {
        scripted_peer clamd(answering(reply));
        EXPECT_EQ(error_of(judged(clamd.port(), "hello")), why);
    }
}

TEST(clamd_engine, takes_an_answer_without_its_end_for_none)
{
    scripted_peer closing({whole_object().send("stream: OK").close()});
    EXPECT_EQ(error_of(judged(closing.port(), "hello")), "connection closed within the answer");
    scripted_peer newline({whole_object().send("stream: OK\n").close()});
    EXPECT_EQ(error_of(judged(newline.port(), "hello")), "connection closed within the answer");
    scripted_peer mute({whole_object().close()});
    EXPECT_EQ(error_of(judged(mute.port(), "hello")), "connection closed without an answer");
}

TEST(clamd_engine, waits_for_an_answer_no_longer_than_it_is_told)
{
    scripted_peer silent({whole_object()});
    EXPECT_EQ(error_of(judged(silent.port(), "hello", 50ms)), "read: no answer in time");
    scripted_peer half({whole_object().send("stream: O")});
    EXPECT_EQ(error_of(judged(half.port(), "hello", 100ms)), "read: no answer in time");
}

TEST(clamd_engine, waits_no_longer_for_a_clamd_that_takes_nothing)
{
    // Accepts connections and reads nothing.
    auto listener = test::loopback_socket::listen();
    EXPECT_EQ(error_of(judged(listener.port(), std::string(32U << 20U, 'x'), 200ms)), "write: no answer in time");
}

TEST(clamd_engine, says_that_nobody_listens)
{
    std::uint16_t port = 0;
    {
        const auto listener = test::loopback_socket::listen();
        port = listener.port();
    }
    EXPECT_TRUE(error_of(judged(port, "hello")).starts_with("connect: ")) << error_of(judged(port, "hello"));
}

TEST(clamd_engine, believes_a_finding_but_no_clearing_ahead_of_the_objects_end)
{
    const std::string large(8U << 20U, 'x');
    scripted_peer limit(
        {conversation().expect(command.size() + 4).send(zero_ended("INSTREAM size limit exceeded. ERROR")).close()});
    EXPECT_NE(error_of(judged(limit.port(), large)), "no error");
    scripted_peer early({conversation().expect(command.size() + 4).send(zero_ended("stream: OK")).close()});
    EXPECT_NE(error_of(judged(early.port(), large)), "no error");
}

TEST(clamd_engine, is_not_mended_by_a_connection_that_breaks)
{
    scripted_peer breaking({conversation().expect(command.size() + 4).reset()});
    EXPECT_NE(error_of(judged(breaking.port(), std::string(8U << 20U, 'x'))), "no error");
}

TEST(clamd_engine, gives_up_at_once_when_it_is_told_to_stop)
{
    scripted_peer silent({whole_object()});
    clamd_engine engine(clamd_tcp_endpoint("127.0.0.1", silent.port()), 1h);
    const auto store = stored("hello");
    service::stop_source stop;
    std::thread stopper([&] {
        EXPECT_TRUE(silent.wait_for_bytes(0, command.size() + 9 + 4));
        stop.request_stop();
    });
    EXPECT_EQ(error_of(scan(engine, {"name", 5}, *store, stop.get_token())), "read: the service is stopping");
    stopper.join();
}

TEST(clamd_engine, knows_clamd_by_its_version_and_keeps_the_last_one_known)
{
    const std::string version = "ClamAV 1.4.6/27000/Sat Nov 21 09:00:00 2026";
    scripted_peer clamd({conversation().expect(9).send(zero_ended(version)), conversation().close(),
                         conversation().expect(9).send("garbage").close(),
                         conversation().expect(9).send(zero_ended("ClamAV 1.4.6/27001"))});
    clamd_engine engine(clamd_tcp_endpoint("127.0.0.1", clamd.port()), 20000ms);
    EXPECT_EQ(engine.identity({}), version);
    EXPECT_EQ(clamd.received(0), std::string("zVERSION\0", 9));
    EXPECT_EQ(engine.identity({}), version);
    EXPECT_EQ(engine.identity({}), version);
    EXPECT_EQ(engine.identity({}), "ClamAV 1.4.6/27001");
}

TEST(clamd_engine, serves_behind_the_server)
{
    scripted_peer clamd({whole_object().send(zero_ended("stream: OK")),
                         whole_object().send(zero_ended("stream: A;B=C FOUND")),
                         whole_object().send(zero_ended("stream: broken ERROR")), whole_object().close()});
    server_options options;
    options.engines = {"clamd:tcp:127.0.0.1:" + std::to_string(clamd.port())};
    const test::started_server server(options);
    test::wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("one")).status(), 204U);
    const test::answer blocked = client.ask(test::mail_request("two"));
    EXPECT_EQ(blocked.status(), 200U);
    EXPECT_EQ(blocked.field("X-Infection-Found"), "Type=0;Resolution=2;Threat=A_B_C;");
    EXPECT_NE(blocked.object().find("A;B=C"), std::string::npos);
    // Neither of the next two is clean, nor is the one that is not accepted.
    EXPECT_EQ(client.ask(test::mail_request("three")).status(), 500U);
    EXPECT_EQ(client.ask(test::mail_request("four")).status(), 500U);
    EXPECT_EQ(client.ask(test::mail_request("five")).status(), 500U);
}

TEST(clamd_engine, that_does_not_answer_delays_no_answer_that_needs_none)
{
    scripted_peer silent(std::vector<conversation>(8, conversation().expect(1000)));
    server_options options;
    options.custom_engine = std::make_shared<clamd_engine>(clamd_tcp_endpoint("127.0.0.1", silent.port()), 1h);
    options.io_threads = 1;
    options.scan_threads = 1;
    test::started_server server(options);
    test::wire_client waiting = server.client();
    waiting.send(test::mail_request("x"));
    ASSERT_TRUE(silent.wait_for_bytes(0, command.size()));
    EXPECT_EQ(server.client().ask("nonsense\r\n").status(), 400U);
    EXPECT_EQ(server.client().ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(),
              100U);
    server.server().stop();
    const std::uint32_t status = waiting.read_answer().status();
    EXPECT_TRUE(status == 500 || status == 0) << status;
    EXPECT_TRUE(waiting.closed_by_service());
}

} // namespace clamd_engine_test
