#include "service/engine/icap_exchange.h"
#include "tests/service/engine/icap_upstream.h"

#include <boost/asio/ip/tcp.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// Connections of an icap_engine: kept, broken, slow.
namespace icap_connections_test {

using namespace std::chrono_literals;
using namespace test::icap_upstream;
using service::icap_engine;
using service::icap_engine_settings;
using test::conversation;
using test::scripted_peer;
using testing::HasSubstr;
using testing::StartsWith;

TEST(icap_connections, are_kept_for_the_next_object)
{
    scripted_peer peer({after_options()
                            .expect_until(whole)
                            .send(no_content)
                            .expect_until(whole)
                            .send(modified("page", "X-Virus-ID: A\r\n"))
                            .expect_until(whole)
                            .send(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(described(judged(engine, "hello")), "blocked: A");
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(peer.connections(), 1U);
}

TEST(icap_connections, are_not_kept_if_the_server_closes_them_or_says_more_than_its_answer)
{
    const std::string closing = "ICAP/1.0 204 No Content\r\nConnection: close\r\n\r\n";
    const std::string closing_in_a_list = "ICAP/1.0 204 No Content\r\nConnection: x, Close\r\n\r\n";
    scripted_peer peer({after_options().expect_until(whole).send(closing), object_then(closing_in_a_list),
                        object_then(no_content + "more"), object_then("ICAP/1.0 500 Error\r\n\r\n"),
                        object_then(modified(std::string(4U << 20U, 'x'), "X-Virus-ID: A\r\n")),
                        object_then(no_content)});
    icap_engine engine(url(peer.port()));
    for (const std::string_view outcome :
         {"clean", "clean", "clean", "error: 127.0.0.1 answered with status 500", "blocked: A", "clean"}) {
        EXPECT_EQ(described(judged(engine, "hello")), outcome);
    }
    EXPECT_EQ(peer.connections(), 6U);
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_connections, that_died_while_they_were_kept_are_replaced)
{
    scripted_peer peer({after_options().expect_until(whole).send(no_content).close(), object_then(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    ASSERT_TRUE(peer.wait_for_end(0));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(peer.connections(), 2U);
}

TEST(icap_connections, that_die_ahead_of_an_answer_are_replaced_once_with_the_whole_object)
{
    const std::string object(300001, 'x');
    // The first connection dies in the middle of the second object.
    scripted_peer peer({after_options().expect_until(whole).send(no_content).expect(100000).reset(),
                        object_then(no_content).expect_until(whole).close(),
                        conversation().expect_until(whole).close()});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(described(judged(engine, object)), "clean");
    EXPECT_THAT(peer.received(1), HasSubstr("\r\nContent-Length: 300001\r\n"));
    EXPECT_GT(peer.received(1).size(), object.size());
    // The repetition dies as well.
    EXPECT_EQ(described(judged(engine, "hello")), "error: connection closed without an answer");
    EXPECT_EQ(peer.connections(), 3U);
}

TEST(icap_connections, that_die_within_an_answer_are_not_replaced)
{
    scripted_peer peer({after_options().expect_until(whole).send(no_content).expect_until(whole).send("I").close(),
                        object_then(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(described(judged(engine, "hello")), "error: connection closed within the answer");
    EXPECT_EQ(peer.connections(), 1U);
}

TEST(icap_connections, that_die_behind_the_preview_are_not_replaced)
{
    scripted_peer peer({after_options("Preview: 4\r\n")
                            .expect_until(ieof)
                            .send(no_content)
                            .expect_until(whole)
                            .send(go_on)
                            .expect_until(whole)
                            .reset(),
                        object_then(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hi")), "clean");
    EXPECT_THAT(described(judged(engine, "hello")), StartsWith("error: "));
    EXPECT_EQ(peer.connections(), 1U);
}

TEST(icap_connections, on_which_something_arrived_while_they_were_kept_are_not_used)
{
    std::atomic<bool> sent{false};
    scripted_peer peer({after_options().expect_until(whole).send(no_content).wait().send(no_content).hold_until([&] {
                            return sent = true;
                        }),
                        object_then(modified("page", "X-Virus-ID: A\r\n"))});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    peer.release();
    while (!sent) {
        std::this_thread::yield();
    }
    EXPECT_EQ(described(judged(engine, "hello")), "blocked: A");
}

TEST(icap_connections, that_are_new_and_die_are_not_replaced)
{
    scripted_peer peer(
        {after_options("Connection: close\r\n"), conversation().expect_until(whole).close(), object_then(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "error: connection closed without an answer");
    EXPECT_EQ(peer.connections(), 2U);
}

TEST(icap_connections, that_were_kept_for_long_are_not_used)
{
    set_clock clock;
    icap_engine_settings settings;
    settings.clock = clock.function();
    scripted_peer peer({after_options().expect_until(whole).send(no_content), object_then(no_content)});
    icap_engine engine(url(peer.port()), settings);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    clock.advance(service::kept_streams<service::timed_stream>::lifetime + 1s);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(peer.connections(), 2U);
}

TEST(icap_answers, may_begin_while_the_object_is_sent)
{
    // The server sends the object back from its beginning on, and reads the rest only once that has been taken.
    const std::string object(32U << 20U, 'x');
    const std::string answer = modified(object);
    const std::size_t early = 16U << 20U;
    scripted_peer peer({after_options()
                            .expect(100000)
                            .send(answer.substr(0, early))
                            .expect_until(whole)
                            .send(answer.substr(early))
                            .expect_until(whole)
                            .send(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, object)), "clean");
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_answers, end_the_sending_of_an_object_but_do_not_clear_it)
{
    const std::string object(32U << 20U, 'x');
    const auto outcome = [&](const std::string& answer) {
        std::atomic<bool> judged_now{false};
        scripted_peer peer({after_options().expect(100000).send(answer).hold_until([&] { return judged_now.load(); })});
        icap_engine engine(url(peer.port()));
        std::string text = described(judged(engine, object));
        judged_now = true;
        return text;
    };
    EXPECT_EQ(outcome(modified("page", "X-Virus-ID: A\r\n")), "blocked: A");
    EXPECT_EQ(outcome(modified("page", {}, "HTTP/1.1 403 Forbidden")), "blocked: blocked by 127.0.0.1");
    EXPECT_EQ(outcome("ICAP/1.0 500 Error\r\n\r\n"), "error: 127.0.0.1 answered with status 500");
    EXPECT_EQ(outcome(no_content), "unchecked: 127.0.0.1 answered before the end of the object");
    EXPECT_EQ(outcome("ICAP/1.0 413 Too large\r\n\r\n"), "unchecked: 127.0.0.1: the object is too large");
    EXPECT_EQ(outcome(go_on), "error: answer not understood: 100 without a preview that it continues");
}

TEST(icap_answers, that_are_final_end_the_sending_at_once)
{
    scripted_peer peer({conversation().send(no_content)});
    const auto object = test::icap_upstream::stored("hello");
    const auto place = url(peer.port());
    {
        service::timed_stream stream(60s, {});
        stream.connect(boost::asio::ip::tcp::endpoint(boost::asio::ip::address_v4::loopback(), peer.port()));
        const auto end = std::chrono::steady_clock::now() + 60s;
        while (stream.is_quiet() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
        }
        service::icap_exchange exchange(stream, place, std::nullopt, {"n", object->size()}, *object);
        EXPECT_EQ(described(exchange.run()), "unchecked: 127.0.0.1 answered before the end of the object");
        EXPECT_FALSE(exchange.keeps_connection());
    }
    EXPECT_TRUE(peer.wait_for_end(0));
    EXPECT_EQ(peer.received(0), "");
}

TEST(icap_answers, may_follow_100_at_once)
{
    scripted_peer peer(
        {after_options("Preview: 4\r\n").expect_until(whole).send(go_on + modified("page", "X-Virus-ID: A\r\n"))});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, std::string(1U << 20U, 'x'))), "blocked: A");
}

TEST(icap_answers, to_a_whole_preview_are_final)
{
    scripted_peer peer({after_options("Preview: 5\r\n").expect_until(ieof).send(go_on)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")),
              "error: answer not understood: 100 without a preview that it continues");
}

TEST(icap_answers, may_come_byte_by_byte)
{
    scripted_peer peer(
        {conversation()
             .expect_until("\r\n\r\n")
             .send_bytewise(options("Preview: 4\r\n"))
             .expect_until(whole)
             .send_bytewise(go_on)
             .expect_until(whole)
             .send_bytewise(modified("page", "X-Violations-Found: 1\r\n\tf\r\n\tName\r\n\t1\r\n\t2\r\n"))});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "blocked: Name");
}

TEST(icap_answers, are_waited_for_no_longer_than_the_timeout)
{
    scripted_peer silent({after_options()});
    icap_engine first(url(silent.port()), waiting(200ms));
    EXPECT_EQ(described(judged(first, "hello")), "error: read: no answer in time");
    auto deaf = test::loopback_socket::listen();
    icap_engine second(url(deaf.port()), waiting(50ms));
    EXPECT_EQ(described(judged(second, "hello")), "error: read: no answer in time");
    std::atomic<bool> judged_now{false};
    scripted_peer full({after_options().hold_until([&] { return judged_now.load(); })});
    icap_engine third(url(full.port()), waiting(200ms));
    EXPECT_EQ(described(judged(third, std::string(32U << 20U, 'x'))), "error: write: no answer in time");
    judged_now = true;
}

TEST(icap_answers, are_not_waited_for_to_their_end_once_they_report_a_threat)
{
    const std::string answer = modified("page", "X-Virus-ID: A\r\n");
    std::atomic<bool> given{false};
    scripted_peer peer(
        {after_options().expect_until(whole).send(answer.substr(0, answer.size() - 7)).hold_until([&given] {
            return given.load();
        })});
    icap_engine engine(url(peer.port()), waiting(1h));
    EXPECT_EQ(described(judged(engine, "hello")), "blocked: A");
    given = true;
    EXPECT_TRUE(peer.wait_for_end(0));
    EXPECT_TRUE(peer.complaints().empty()); // the client gave up, not the peer
}

TEST(icap_answers, are_waited_for_until_a_stop)
{
    const auto stopped_at = [](const std::string& object, std::size_t arrived, bool reads) {
        std::atomic<bool> stopped{false};
        auto script = after_options();
        script.expect(arrived);
        if (!reads) {
            script.hold_until([&] { return stopped.load(); });
        }
        scripted_peer peer({std::move(script)});
        icap_engine engine(url(peer.port()), waiting(1h));
        service::stop_source stop;
        std::thread stopper([&] {
            EXPECT_TRUE(peer.wait_for_bytes(0, 400));
            stop.request_stop();
        });
        const std::string outcome = described(judged(engine, object, "n", stop.get_token()));
        stopper.join();
        stopped = true;
        return outcome;
    };
    // The stop may be seen before the end of the last write, although the peer has all bytes.
    EXPECT_THAT(stopped_at("hello", 300, true),
                testing::AnyOf("error: read: the service is stopping", "error: write: the service is stopping"));
    EXPECT_EQ(stopped_at(std::string(64U << 20U, 'x'), 300, false), "error: write: the service is stopping");
}

} // namespace icap_connections_test
