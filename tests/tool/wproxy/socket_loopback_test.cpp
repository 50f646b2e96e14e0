#include "tests/support/log_capture.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/process_resources.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/thread.h"
#include "tool/system/errors.h"
#include "tool/wproxy/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using test::loopback_socket;
using testing::ElementsAre;
using tpl::wait_result;

constexpr std::uint32_t long_wait = 60000;
constexpr int many_looks = 6000;

/// Matches the codes that systems report for a read whose handle is closed during it.
auto cut_off()
{
    return testing::AnyOf(995U, 64U, 676U, 1236U);
}

/// Records the bytes and errors of a socket; the waits are bounded.
class receiver final : public tpl::iasync, public web::socket::state
{
public:
    bool input(const char* begin, const char* end) override
    {
        const std::lock_guard guard(lock_);
        bytes_.append(begin, end);
        changed_.set();
        return true;
    }
    void error(std::uint32_t code) override
    {
        const std::lock_guard guard(lock_);
        errors_.push_back(code);
        threads_.push_back(std::this_thread::get_id());
        changed_.set();
    }
    [[nodiscard]] std::string wait_for_bytes(std::size_t count)
    {
        wait([&] { return bytes_.size() >= count; });
        const std::lock_guard guard(lock_);
        return bytes_;
    }
    [[nodiscard]] std::vector<std::uint32_t> wait_for_error()
    {
        wait([&] { return !errors_.empty(); });
        const std::lock_guard guard(lock_);
        return errors_;
    }
    [[nodiscard]] std::vector<std::thread::id> error_threads() const
    {
        const std::lock_guard guard(lock_);
        return threads_;
    }

private:
    template <typename Condition>
    void wait(Condition met)
    {
        for (;;) {
            {
                const std::lock_guard guard(lock_);
                if (met()) {
                    return;
                }
            }
            if (changed_.wait(long_wait) != wait_result::signalled) {
                ADD_FAILURE() << "what was waited for did not come";
                return;
            }
        }
    }

    mutable std::mutex lock_;
    std::string bytes_;
    std::vector<std::uint32_t> errors_;
    std::vector<std::thread::id> threads_;
    tpl::event changed_;
};

/// A socket on the system's platform, connected to a peer on the loopback interface.
class SocketOnLoopback : public testing::Test
{
protected:
    void SetUp() override { connect(); }

    void connect()
    {
        auto listener = loopback_socket::listen();
        socket = make_socket();
        socket->connect(web::make_socket_address(0x7F000001, listener.port()));
        peer = listener.accept();
    }
    std::unique_ptr<web::socket> make_socket()
    {
        return std::make_unique<web::socket>(web::system_socket_platform().open_socket(), &channel, &input, &input,
                                             false);
    }
    void TearDown() override
    {
        if (socket && reading && !socket->is_closed()) {
            socket->close();
            EXPECT_TRUE(becomes_closed());
        }
        socket.reset();
    }
    void start_reading()
    {
        socket->read();
        reading = true;
    }
    [[nodiscard]] bool becomes_closed()
    {
        for (int look = 0; look < many_looks && !socket->is_closed(); ++look) {
            tpl::sleep_ex(10, true);
        }
        return socket->is_closed();
    }
    std::uint32_t write(const std::string& bytes)
    {
        std::uint32_t error = 99;
        socket->write(bytes.data(), bytes.data() + bytes.size(), error);
        return error;
    }
    [[nodiscard]] std::string receive_at_peer(std::size_t count)
    {
        std::string all;
        std::vector<char> piece(65536);
        while (all.size() < count) {
            const auto got = peer.receive(piece.data(), std::min(piece.size(), count - all.size()));
            if (got == 0) {
                ADD_FAILURE() << "the connection ended after " << all.size() << " bytes";
                break;
            }
            all.append(piece.data(), got);
        }
        return all;
    }

    receiver input;
    tpl::channel channel{4, 1};
    loopback_socket peer;
    std::unique_ptr<web::socket> socket;
    bool reading = false;
};

std::string pattern(std::size_t size, unsigned seed)
{
    std::string bytes(size, '\0');
    unsigned value = seed;
    for (auto& byte : bytes) {
        value = value * 1664525U + 1013904223U;
        byte = static_cast<char>(value >> 24U);
    }
    return bytes;
}

TEST_F(SocketOnLoopback, Connects)
{
    EXPECT_TRUE(socket->is_connected());
    EXPECT_TRUE(socket->is_attached());
    EXPECT_FALSE(socket->is_closed());
    EXPECT_EQ(socket->local_address(), "127.0.0.1");
}

TEST_F(SocketOnLoopback, HasNoLocalAddressBeforeItConnectsNorAfterItIsClosed)
{
    auto fresh = make_socket();
    EXPECT_EQ(fresh->local_address(), "0.0.0.0");
    EXPECT_FALSE(fresh->is_connected());
    socket->close();
    EXPECT_EQ(socket->local_address(), "0.0.0.0");
}

TEST_F(SocketOnLoopback, IsNotClosedBeforeItConnects)
{
    auto fresh = make_socket();
    EXPECT_FALSE(fresh->is_closed());
    auto listener = loopback_socket::listen();
    fresh->connect(web::make_socket_address(0x7F000001, listener.port()));
    EXPECT_FALSE(fresh->is_closed());
}

TEST_F(SocketOnLoopback, RaisesARefusedConnection)
{
    std::uint16_t port = 0;
    {
        auto listener = loopback_socket::listen();
        port = listener.port();
    }
    auto refused = make_socket();
    test::log_capture log;
    try {
        refused->connect(web::make_socket_address(0x7F000001, port));
        FAIL() << "somebody listens at a free port";
    } catch (const error::win32exception& problem) {
        EXPECT_EQ(problem.code(), 10061U);
        EXPECT_NE(std::string(problem.what()).find("tool\\wproxy\\socket("), std::string::npos);
    }
    EXPECT_FALSE(refused->is_connected());
    EXPECT_TRUE(log.contains("error 10061"));
}

TEST_F(SocketOnLoopback, CannotReadBeforeItConnects)
{
    auto fresh = make_socket();
    try {
        fresh->read();
        FAIL() << "a read was started";
    } catch (const error::win32exception& problem) {
        EXPECT_EQ(problem.code(), 10057U);
    }
    EXPECT_EQ(input.wait_for_error(), std::vector<std::uint32_t>{10057});
}

TEST_F(SocketOnLoopback, DeliversWhatComesInPieces)
{
    start_reading();
    std::string expected;
    for (int piece = 0; piece < 50; ++piece) {
        const auto bytes = pattern(1 + static_cast<std::size_t>(piece) * 37, static_cast<unsigned>(piece));
        ASSERT_TRUE(peer.send(bytes));
        expected += bytes;
        EXPECT_EQ(input.wait_for_bytes(expected.size()), expected);
    }
}

TEST_F(SocketOnLoopback, DeliversWhatCameBeforeTheFirstRead)
{
    ASSERT_TRUE(peer.send("early"));
    start_reading();
    EXPECT_EQ(input.wait_for_bytes(5), "early");
}

TEST_F(SocketOnLoopback, WritesToThePeer)
{
    EXPECT_EQ(write("hello"), 0U);
    EXPECT_EQ(receive_at_peer(5), "hello");
}

TEST_F(SocketOnLoopback, IsClosedOnceThePeerHasClosed)
{
    start_reading();
    test::log_capture log;
    peer.close();
    EXPECT_EQ(input.wait_for_error(), std::vector<std::uint32_t>{10058});
    EXPECT_TRUE(becomes_closed());
    EXPECT_FALSE(socket->is_attached());
    EXPECT_TRUE(log.contains(") ovelapped read has been finished: socket closed"));
    ASSERT_EQ(input.error_threads().size(), 1U);
    EXPECT_NE(input.error_threads().front(), std::this_thread::get_id());
}

TEST_F(SocketOnLoopback, DeliversWhatThePeerSentBeforeItClosed)
{
    const auto bytes = pattern(200000, 3);
    std::thread sender([&] {
        EXPECT_TRUE(peer.send(bytes));
        peer.close();
    });
    start_reading();
    EXPECT_EQ(input.wait_for_bytes(bytes.size()), bytes);
    sender.join();
    EXPECT_TRUE(becomes_closed());
}

TEST_F(SocketOnLoopback, StaysUnclosedUntilTheReadCutOffByCloseHasCompleted)
{
    start_reading();
    test::log_capture log;
    socket->close();
    const auto errors = input.wait_for_error(); // reported before the socket detaches
    EXPECT_THAT(errors, ElementsAre(cut_off()));
    EXPECT_TRUE(becomes_closed());
    EXPECT_NE(input.error_threads().front(), std::this_thread::get_id());
    EXPECT_TRUE(log.contains(", error=" + std::to_string(errors.front())));
    EXPECT_TRUE(log.contains("detached from channel by error 0x"));
}

TEST_F(SocketOnLoopback, WithItsWorkersBusyStaysUnclosedAfterClose)
{
    // Keeps the workers busy, so that the cancelled read cannot complete yet.
    struct busy final : tpl::iasync, web::socket::state
    {
        bool input(const char*, const char*) override
        {
            entered.set();
            static_cast<void>(leave.wait(long_wait));
            return true;
        }
        void error(std::uint32_t) override {}
        tpl::event entered;
        tpl::event leave;
    };
    busy holder;
    tpl::channel one_worker(1, 1);
    const auto open = [&](tpl::iasync* sink, web::socket::state* state, loopback_socket& other_end) {
        auto listener = loopback_socket::listen();
        auto made =
            std::make_unique<web::socket>(web::system_socket_platform().open_socket(), &one_worker, sink, state, false);
        made->connect(web::make_socket_address(0x7F000001, listener.port()));
        other_end = listener.accept();
        made->read();
        return made;
    };
    loopback_socket first_peer;
    loopback_socket second_peer;
    auto first = open(&holder, &holder, first_peer);
    auto second = open(&input, &input, second_peer);
    ASSERT_TRUE(first_peer.send("1"));
    ASSERT_EQ(holder.entered.wait(long_wait), wait_result::signalled);
    second->close();
    EXPECT_FALSE(second->is_closed());
    EXPECT_TRUE(second_peer.wait_readable(long_wait)) << "the peer sees the end";
    EXPECT_FALSE(second->is_closed());
    holder.leave.set();
    EXPECT_THAT(input.wait_for_error(), ElementsAre(cut_off()));
    first->close();
    for (int look = 0; look < many_looks && !(first->is_closed() && second->is_closed()); ++look) {
        tpl::sleep_ex(10, true);
    }
    EXPECT_TRUE(first->is_closed());
    EXPECT_TRUE(second->is_closed());
}

TEST_F(SocketOnLoopback, CancelsItsReadOnDemand)
{
    start_reading();
    tpl::cancel_io(socket->handle());
    EXPECT_EQ(input.wait_for_error(), std::vector<std::uint32_t>{995});
    EXPECT_TRUE(becomes_closed());
    EXPECT_TRUE(socket->has_valid_handle());
}

TEST_F(SocketOnLoopback, EndsAsASessionDoes)
{
    start_reading();
    socket->shutdown(web::socket::receive | web::socket::send);
    tpl::cancel_io(socket->handle());
    tpl::sleep_ex(0, true);
    socket->close();
    EXPECT_TRUE(becomes_closed());
    char byte = 0;
    EXPECT_EQ(peer.receive(&byte, 1), 0U);
}

TEST_F(SocketOnLoopback, FindsOutByItsReadThatThePeerHasReset)
{
    start_reading();
    peer.reset();
    const auto errors = input.wait_for_error();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_NE(errors.front(), 0U);
    EXPECT_TRUE(becomes_closed());
}

TEST_F(SocketOnLoopback, WritesQuietlyIntoAResetConnection)
{
    start_reading();
    peer.reset();
    static_cast<void>(input.wait_for_error());
    const auto error = write("hello");
    EXPECT_TRUE(error == 10053 || error == 10054 || error == 10058) << error;
}

TEST_F(SocketOnLoopback, WritesQuietlyAfterItsOwnShutdown)
{
    socket->shutdown(web::socket::send);
    EXPECT_EQ(write("hello"), 10058U);
    char byte = 0;
    EXPECT_EQ(peer.receive(&byte, 1), 0U);
}

TEST_F(SocketOnLoopback, StartsNoReadAfterItsOwnShutdown)
{
    socket->shutdown(web::socket::receive);
    EXPECT_THROW(socket->read(), error::win32exception);
    EXPECT_EQ(input.wait_for_error(), std::vector<std::uint32_t>{10058});
}

TEST_F(SocketOnLoopback, WaitsForASlowReader)
{
    const auto bytes = pattern(24U << 20U, 5);
    test::log_capture log(300);
    tpl::event go;
    std::string got;
    std::thread reader([&] {
        EXPECT_EQ(go.wait(long_wait), wait_result::signalled);
        got = receive_at_peer(bytes.size());
    });
    std::thread releaser([&] { // only after the writer has met a full connection
        for (int look = 0; look < many_looks && !log.contains(") write is blocked (WSAEWOULDBLOCK)"); ++look) {
            tpl::sleep_ex(10, false);
        }
        go.set();
    });
    EXPECT_EQ(write(bytes), 0U);
    reader.join();
    releaser.join();
    EXPECT_TRUE(got == bytes);
    EXPECT_TRUE(log.contains(") write is blocked (WSAEWOULDBLOCK)"));
}

TEST_F(SocketOnLoopback, CarriesBothDirectionsAtOnce)
{
    const auto out = pattern(8U << 20U, 7);
    const auto in = pattern(8U << 20U, 11);
    start_reading();
    std::string got;
    std::thread reader([&] { got = receive_at_peer(out.size()); });
    std::thread sender([&] { EXPECT_TRUE(peer.send(in)); });
    EXPECT_EQ(write(out), 0U);
    EXPECT_TRUE(input.wait_for_bytes(in.size()) == in);
    reader.join();
    sender.join();
    EXPECT_TRUE(got == out);
}

TEST_F(SocketOnLoopback, Carries64MiBIn)
{
    constexpr std::size_t block = 1U << 20U;
    const auto bytes = pattern(block, 13);
    start_reading();
    std::thread sender([&] {
        for (int count = 0; count < 64; ++count) {
            ASSERT_TRUE(peer.send(bytes));
        }
    });
    const auto all = input.wait_for_bytes(64 * block);
    sender.join();
    ASSERT_EQ(all.size(), 64 * block);
    for (std::size_t at = 0; at < all.size(); at += block) {
        ASSERT_EQ(std::memcmp(all.data() + at, bytes.data(), block), 0) << "at " << at;
    }
}

TEST_F(SocketOnLoopback, Carries64MiBOut)
{
    constexpr std::size_t block = 1U << 20U;
    const auto bytes = pattern(block, 17);
    bool right = true;
    std::thread reader([&] {
        for (int count = 0; count < 64 && right; ++count) {
            right = receive_at_peer(block) == bytes;
        }
    });
    for (int count = 0; count < 64; ++count) {
        ASSERT_EQ(write(bytes), 0U);
    }
    reader.join();
    EXPECT_TRUE(right);
}

TEST_F(SocketOnLoopback, LivesThroughTheEndOfItsPeerWhileItWrites)
{
    start_reading();
    const auto bytes = pattern(1U << 20U, 19);
    std::thread ender([&] {
        static_cast<void>(receive_at_peer(1U << 20U));
        peer.reset();
    });
    std::uint32_t error = 0;
    for (int count = 0; count < 1000 && error == 0; ++count) {
        error = write(bytes);
    }
    ender.join();
    EXPECT_TRUE(error == 10053 || error == 10054 || error == 10058) << error;
    EXPECT_TRUE(becomes_closed());
}

TEST_F(SocketOnLoopback, MayBeDestroyedAsSoonAsItIsClosed)
{
    for (int round = 0; round < 200; ++round) {
        connect();
        start_reading();
        if (round % 2 == 0) {
            peer.close();
        } else {
            socket->close();
        }
        for (long look = 0; look < 100000000L && !socket->is_closed(); ++look) {
            std::this_thread::yield();
        }
        ASSERT_TRUE(socket->is_closed());
        socket.reset();
    }
}

TEST_F(SocketOnLoopback, MayBeDestroyedAfterTheChannelHasStopped)
{
    start_reading();
    channel.stop();
    socket.reset();
}

TEST_F(SocketOnLoopback, SharesItsChannelWithManyOthers)
{
    constexpr int count = 30;
    struct one
    {
        receiver input;
        loopback_socket peer;
        std::unique_ptr<web::socket> socket;
    };
    std::vector<std::unique_ptr<one>> all;
    for (int index = 0; index < count; ++index) {
        auto made = std::make_unique<one>();
        auto listener = loopback_socket::listen();
        made->socket = std::make_unique<web::socket>(web::system_socket_platform().open_socket(), &channel,
                                                     &made->input, &made->input, false);
        made->socket->connect(web::make_socket_address(0x7F000001, listener.port()));
        made->peer = listener.accept();
        made->socket->read();
        all.push_back(std::move(made));
    }
    std::vector<std::thread> senders;
    for (int index = 0; index < count; ++index) {
        senders.emplace_back([&, index] {
            EXPECT_TRUE(all[static_cast<std::size_t>(index)]->peer.send(pattern(100000, static_cast<unsigned>(index))));
        });
    }
    for (int index = 0; index < count; ++index) {
        EXPECT_TRUE(all[static_cast<std::size_t>(index)]->input.wait_for_bytes(100000) ==
                    pattern(100000, static_cast<unsigned>(index)));
    }
    for (auto& sender : senders) {
        sender.join();
    }
    for (auto& each : all) {
        each->socket->close();
        for (int look = 0; look < many_looks && !each->socket->is_closed(); ++look) {
            tpl::sleep_ex(10, true);
        }
        EXPECT_TRUE(each->socket->is_closed());
    }
}

TEST(SocketResources, LeaveNoThreadAndNoDescriptorBehind)
{
    const auto round = [] {
        receiver input;
        tpl::channel channel(4, 1);
        auto listener = loopback_socket::listen();
        web::socket socket(web::system_socket_platform().open_socket(), &channel, &input, &input, false);
        socket.connect(web::make_socket_address(0x7F000001, listener.port()));
        auto peer = listener.accept();
        socket.read();
        peer.close();
        EXPECT_EQ(input.wait_for_error(), std::vector<std::uint32_t>{10058});
    };
    round(); // creates the objects that exist once per process
    const auto before = test::process_resources::now();
    for (int count = 0; count < 10; ++count) {
        round();
    }
    EXPECT_EQ(test::process_resources::settled(before), before);
}

} // namespace
