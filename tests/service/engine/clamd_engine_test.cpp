#include "service/engine/clamd_engine.h"
#include "service/scan_server.h"
#include "tests/service/engine/icap_upstream.h"
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
const std::string opening("zIDSESSION\0", 11);
const std::string instream("zINSTREAM\0", 10);
const std::string command = opening + instream;

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

std::string described(service::scan_engine& engine, std::string_view object, const service::stop_token& stop = {})
{
    return test::icap_upstream::described(test::icap_upstream::judged(engine, object, "name", stop));
}

TEST(clamd_engine, streams_the_object_in_chunks_with_their_sizes)
{
    scripted_peer clamd(answering(zero_ended("1: stream: OK")));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(clamd.port(), "hello")));
    EXPECT_EQ(clamd.received(0), command + std::string("\0\0\0\x05hello", 9) + end_of_object);
}

TEST(clamd_engine, sends_nothing_but_the_end_of_an_empty_object)
{
    scripted_peer clamd(answering(zero_ended("1: stream: OK")));
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(judged(clamd.port(), "")));
    EXPECT_EQ(clamd.received(0), command + end_of_object);
}

TEST(clamd_engine, sends_all_of_a_large_object)
{
    std::string object;
    for (int i = 0; object.size() < 200000; ++i) {
        object += std::to_string(i) + " ";
    }
    scripted_peer clamd(answering(zero_ended("1: stream: OK")));
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
    scripted_peer clamd(answering(zero_ended("1: stream: Some.Name-1 FOUND")));
    const verdict outcome = judged(clamd.port(), "hello");
    ASSERT_TRUE(std::holds_alternative<blocked_verdict>(outcome));
    EXPECT_EQ(std::get<blocked_verdict>(outcome).threat, "Some.Name-1");
}

TEST(clamd_engine, reads_an_answer_that_comes_in_pieces)
{
    scripted_peer clamd({whole_object().send_bytewise(zero_ended("1: stream: A FOUND"))});
    EXPECT_TRUE(std::holds_alternative<blocked_verdict>(judged(clamd.port(), "hello")));
}

TEST(clamd_engine, clears_nothing_that_clamd_did_not_clear)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {zero_ended("1: stream: Can't allocate memory ERROR"), "stream: Can't allocate memory ERROR"},
        {zero_ended("1: UNKNOWN COMMAND"), "answer not understood: UNKNOWN COMMAND"},
        {zero_ended(""), "answer not understood: "},
        {zero_ended("1: stream: OK") + "x", "answer not understood: 1: stream: OK?x"},
        {zero_ended("1: stream: OK") + zero_ended("2: stream: OK"),
         "answer not understood: 1: stream: OK?2: stream: OK?"},
        {zero_ended("stream: OK"), "answer not understood: stream: OK"},
        {zero_ended("2: stream: OK"), "answer not understood: 2: stream: OK"},
        {zero_ended("11: stream: OK"), "answer not understood: 11: stream: OK"},
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
    scripted_peer closing({whole_object().send("1: stream: OK").close()});
    EXPECT_EQ(error_of(judged(closing.port(), "hello")), "connection closed within the answer");
    scripted_peer newline({whole_object().send("1: stream: OK\n").close()});
    EXPECT_EQ(error_of(judged(newline.port(), "hello")), "connection closed within the answer");
    scripted_peer mute({whole_object().close()});
    EXPECT_EQ(error_of(judged(mute.port(), "hello")), "connection closed without an answer");
}

TEST(clamd_engine, waits_for_an_answer_no_longer_than_it_is_told)
{
    scripted_peer silent({whole_object()});
    EXPECT_EQ(error_of(judged(silent.port(), "hello", 50ms)), "read: no answer in time");
    scripted_peer half({whole_object().send("1: stream: O")});
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
        {conversation().expect(command.size() + 4).send(zero_ended("1: INSTREAM size limit exceeded. ERROR")).close()});
    EXPECT_TRUE(std::holds_alternative<unchecked_verdict>(judged(limit.port(), large)));
    scripted_peer early({conversation().expect(command.size() + 4).send(zero_ended("1: stream: OK")).close()});
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

TEST(clamd_sessions, are_kept_for_the_next_object)
{
    scripted_peer clamd({whole_object()
                             .send(zero_ended("1: stream: OK"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("2: stream: A FOUND"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("3: stream: Heuristics.Encrypted.Zip FOUND"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("4: stream: OK"))});
    clamd_engine engine(clamd_tcp_endpoint("localhost", clamd.port()));
    EXPECT_EQ(described(engine, "hello"), "clean");
    EXPECT_EQ(described(engine, "hello"), "blocked: A");
    EXPECT_EQ(described(engine, "hello"), "unchecked: Heuristics.Encrypted.Zip");
    EXPECT_EQ(described(engine, "hello"), "clean");
    EXPECT_EQ(clamd.connections(), 1U);
    const std::string object = instream + std::string("\0\0\0\x05hello", 9) + end_of_object;
    EXPECT_EQ(clamd.received(0), opening + object + object + object + object);
}

TEST(clamd_sessions, are_not_kept_after_a_failure)
{
    scripted_peer clamd({whole_object().send(zero_ended("1: stream: broken ERROR")),
                         whole_object().send(zero_ended("2: stream: OK")), // the reply to something else
                         whole_object().send(zero_ended("1: stream: OK"))});
    clamd_engine engine(clamd_tcp_endpoint("localhost", clamd.port()));
    EXPECT_EQ(described(engine, "hello"), "error: stream: broken ERROR");
    EXPECT_EQ(described(engine, "hello"), "error: answer not understood: 2: stream: OK");
    EXPECT_EQ(described(engine, "hello"), "clean");
    EXPECT_EQ(clamd.connections(), 3U);
}

TEST(clamd_sessions, that_died_are_replaced_once_with_the_whole_object)
{
    const std::string large(1U << 20U, 'x');
    scripted_peer clamd({whole_object().send(zero_ended("1: stream: OK")).expect(100000).reset(),
                         whole_object()
                             .send(zero_ended("1: stream: A FOUND"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .close(),
                         conversation().expect(command.size()).expect_until(end_of_object).close()});
    clamd_engine engine(clamd_tcp_endpoint("localhost", clamd.port()));
    EXPECT_EQ(described(engine, "hello"), "clean");
    EXPECT_EQ(described(engine, large), "blocked: A");
    EXPECT_GT(clamd.received(1).size(), large.size());
    EXPECT_EQ(described(engine, "hello"), "error: connection closed without an answer");
    EXPECT_EQ(clamd.connections(), 3U);
    EXPECT_TRUE(clamd.complaints().empty());
}

TEST(clamd_sessions, that_died_within_a_reply_are_not_replaced)
{
    scripted_peer clamd({whole_object()
                             .send(zero_ended("1: stream: OK"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send("2: stream: O")
                             .close(),
                         whole_object().send(zero_ended("1: stream: OK"))});
    clamd_engine engine(clamd_tcp_endpoint("localhost", clamd.port()));
    EXPECT_EQ(described(engine, "hello"), "clean");
    EXPECT_EQ(described(engine, "hello"), "error: connection closed within the answer");
    EXPECT_EQ(clamd.connections(), 1U);
}

TEST(clamd_streams, are_limited)
{
    scripted_peer clamd({whole_object()
                             .wait()
                             .send(zero_ended("1: stream: OK"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("2: stream: OK"))});
    clamd_engine engine(clamd_tcp_endpoint("localhost", clamd.port()), 1h, 1);
    std::thread first([&] { EXPECT_EQ(described(engine, "one"), "clean"); });
    ASSERT_TRUE(clamd.wait_for_bytes(0, command.size() + 4 + 3 + 4));
    service::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    EXPECT_EQ(described(engine, "two", stop.get_token()), "error: wait for a stream: the service is stopping");
    stopper.join();
    std::thread third([&] { EXPECT_EQ(described(engine, "three"), "clean"); });
    clamd.release();
    first.join();
    third.join();
    EXPECT_EQ(clamd.connections(), 1U);
}

TEST(clamd_streams, are_as_many_as_wanted)
{
    scripted_peer clamd({whole_object().wait().send(zero_ended("1: stream: OK")),
                         whole_object().wait().send(zero_ended("1: stream: OK"))});
    const auto engine =
        service::make_engine("clamd:tcp:localhost:" + std::to_string(clamd.port()), service::engine_settings{0});
    std::thread first([&] { EXPECT_EQ(described(*engine, "one"), "clean"); });
    std::thread second([&] { EXPECT_EQ(described(*engine, "two"), "clean"); });
    EXPECT_TRUE(clamd.wait_for_bytes(0, command.size() + 4 + 3 + 4));
    EXPECT_TRUE(clamd.wait_for_bytes(1, command.size() + 4 + 3 + 4));
    clamd.release();
    clamd.release();
    first.join();
    second.join();
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
    scripted_peer clamd({whole_object()
                             .send(zero_ended("1: stream: OK"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("2: stream: A;B=C FOUND"))
                             .expect(instream.size())
                             .expect_until(end_of_object)
                             .send(zero_ended("3: stream: broken ERROR")),
                         whole_object().close()});
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
