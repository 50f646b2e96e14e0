#include "tests/service/engine/icap_upstream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

/// What an ICAP server announces, and its addresses.
namespace icap_options_test {

using namespace std::chrono_literals;
using namespace test::icap_upstream;
using service::icap_engine;
using service::icap_engine_settings;
using test::conversation;
using test::scripted_peer;
using testing::HasSubstr;
using testing::StartsWith;

TEST(icap_options, are_asked_for_again_after_their_time)
{
    set_clock clock;
    icap_engine_settings settings;
    settings.clock = clock.function();
    scripted_peer peer({after_options("Options-TTL: 10\r\n")
                            .expect_until(whole)
                            .send(no_content)
                            .expect_until(whole)
                            .send(no_content)
                            .expect_until("OPTIONS ")
                            .expect_until("\r\n\r\n")
                            .send(options("Options-TTL: 10\r\nPreview: 4\r\n"))
                            .expect_until("\r\nPreview: 4\r\n")
                            .expect_until(whole)
                            .send(no_content)});
    icap_engine engine(url(peer.port()), settings);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    clock.advance(9999ms);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    clock.advance(1ms);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_options, are_asked_for_again_after_another_tag)
{
    scripted_peer peer({after_options()
                            .expect_until(whole)
                            .send("ICAP/1.0 204 No Content\r\nISTag: two\r\n\r\n")
                            .expect_until("OPTIONS ")
                            .expect_until("\r\n\r\n")
                            .send(options("Preview: 4\r\n", "two"))
                            .expect_until("\r\nPreview: 4\r\n")
                            .expect_until(whole)
                            .send(no_content)});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_options, limit_the_connections_of_which_one_is_for_probes)
{
    const std::string limit = "Max-Connections: 2\r\n";
    scripted_peer peer(
        {after_options(limit).expect_until(whole).wait().send(no_content).expect_until(whole).send(no_content),
         after_options(limit)});
    icap_engine engine(url(peer.port()), waiting(60s));
    EXPECT_EQ(engine.probe({}).fault, "");
    std::vector<std::thread> scans;
    for (int i = 0; i < 2; ++i) {
        scans.emplace_back([&] { EXPECT_EQ(described(judged(engine, "hello")), "clean"); });
    }
    EXPECT_TRUE(peer.wait_for_bytes(0, 400));
    EXPECT_EQ(engine.probe({}).fault, "");
    peer.release();
    for (auto& scan : scans) {
        scan.join();
    }
    EXPECT_EQ(peer.connections(), 2U);
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_options, let_a_scan_and_a_probe_share_a_single_connection)
{
    const std::string limit = "Max-Connections: 1\r\n";
    scripted_peer peer({after_options(limit)
                            .expect_until(whole)
                            .wait()
                            .send(no_content)
                            .expect_until("\r\n\r\n")
                            .send(options(limit, "two"))});
    icap_engine engine(url(peer.port()), waiting(60s));
    EXPECT_EQ(engine.probe({}).identity, "avscan one");
    std::thread scan([&] { EXPECT_EQ(described(judged(engine, "hello")), "clean"); });
    EXPECT_TRUE(peer.wait_for_bytes(0, 400));
    const auto meanwhile = engine.probe({});
    EXPECT_EQ(meanwhile.identity, "avscan one");
    EXPECT_EQ(meanwhile.fault, "");
    peer.release();
    scan.join();
    EXPECT_EQ(engine.probe({}).identity, "avscan two");
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_TRUE(peer.complaints().empty());
}

TEST(icap_options, without_a_usable_number_limit_nothing)
{
    for (const char* number : {"0", "-1", "x", ""}) {
        const std::string limit = std::string("Max-Connections: ") + number + "\r\n";
        scripted_peer peer({after_options(limit).expect_until(whole).wait().send(no_content), object_then(no_content)});
        icap_engine engine(url(peer.port()), waiting(60s));
        std::thread scan([&] { EXPECT_EQ(described(judged(engine, "hello")), "clean"); });
        EXPECT_TRUE(peer.wait_for_bytes(0, 400));
        EXPECT_EQ(described(judged(engine, "hello")), "clean") << number;
        peer.release();
        scan.join();
    }
}

TEST(icap_options, decide_whether_the_service_can_judge)
{
    const auto fault = [](const std::string& answer) {
        scripted_peer peer({conversation().expect_until("\r\n\r\n").send(answer).close()});
        icap_engine engine(url(peer.port()));
        return engine.probe({}).fault;
    };
    EXPECT_EQ(fault(options()), "");
    EXPECT_EQ(fault("ICAP/1.0 200 OK\r\nMethods: RESPMOD\r\n\r\n"), "");
    EXPECT_EQ(fault("ICAP/1.0 200 OK\r\nMethods: RESPMOD\r\nEncapsulated: opt-body=0\r\n\r\n2\r\nab\r\n0\r\n\r\n"), "");
    EXPECT_EQ(fault("ICAP/1.0 200 OK\r\nMethods: REQMOD\r\n\r\n"), "options: no RESPMOD");
    EXPECT_EQ(fault("ICAP/1.0 404 Not found\r\n\r\n"), "options: status 404");
    EXPECT_EQ(fault(""), "connection closed without an answer");
    EXPECT_EQ(fault("ICAP/1.0 200"), "connection closed within the answer");
    EXPECT_THAT(fault("nonsense\r\n\r\n"), StartsWith("answer not understood: "));
    EXPECT_EQ(fault("ICAP/1.0 200 OK\r\nMethods: RESPMOD\r\nEncapsulated: opt-body=0\r\n\r\n" +
                    chunked(std::string(1U << 20U, 'x'))),
              "options: the answer is too long");
}

TEST(icap_options, give_the_identity_by_the_servers_tag)
{
    scripted_peer peer({after_options()
                            .expect_until(whole)
                            .send("ICAP/1.0 204 No Content\r\nISTag: \"two\"\r\n\r\n")
                            .expect_until("\r\n\r\n")
                            .send(options({}, "three"))
                            .close()});
    icap_engine engine(url(peer.port()));
    EXPECT_EQ(engine.identity({}), "avscan one");
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_EQ(engine.identity({}), "avscan three");
    ASSERT_TRUE(peer.wait_for_end(0));
    const service::engine_state gone = engine.probe({});
    EXPECT_EQ(gone.identity, "avscan three");
    EXPECT_FALSE(gone.fault.empty());
}

TEST(icap_hosts, are_tried_address_by_address)
{
    std::uint16_t closed = 0;
    {
        const auto listener = test::loopback_socket::listen();
        closed = listener.port();
    }
    scripted_peer peer({after_options().expect_until(whole).send(no_content)});
    icap_engine_settings settings;
    settings.query = [&](const std::string& host, std::uint16_t) {
        EXPECT_EQ(host, "farm");
        auto found = service::query_addresses("127.0.0.1", closed);
        const auto good = service::query_addresses("127.0.0.1", peer.port());
        found.insert(found.end(), good.begin(), good.end());
        return found;
    };
    icap_engine engine({"farm", 1344, "avscan"}, settings);
    EXPECT_EQ(described(judged(engine, "hello")), "clean");
    EXPECT_THAT(peer.received(0), HasSubstr("RESPMOD icap://farm:1344/avscan ICAP/1.0\r\nHost: farm:1344\r\n"));
    icap_engine none(url(closed));
    EXPECT_THAT(described(judged(none, "hello")), StartsWith("error: connect: "));
}

} // namespace icap_options_test
