#include "tests/tool/wproxy/socket_fixture.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using test::strings;
namespace events = web::network_event;

/// Doubles each byte on the way out and records the sizes of its blocks.
class doubling_filter final : public web::byte_filter
{
public:
    void feed(const char*, const char*) override {}
    bool produce(std::string_view&) override { return false; }
    std::string_view transform(const char* begin, const char* end) override
    {
        blocks.push_back(static_cast<std::size_t>(end - begin));
        out.clear();
        for (; begin != end; ++begin) {
            out.append(2, *begin);
        }
        return out;
    }
    std::vector<std::size_t> blocks;
    std::string out;
};

class SocketWrite : public test::SocketOnFakePlatform
{
protected:
    void SetUp() override { make(); }
    std::uint32_t write(const std::string& bytes)
    {
        return socket->write(bytes.data(), bytes.data() + bytes.size(), error);
    }
    [[nodiscard]] std::string raised_by_write(const std::string& bytes)
    {
        return raised_by([&] { write(bytes); });
    }
    std::uint32_t error = 99;
    const std::string blocked = "300 socket(SOCKET) write is blocked (WSAEWOULDBLOCK)";
};

TEST_F(SocketWrite, SendsTheRangeAndReturnsTheCount)
{
    EXPECT_EQ(write("hello"), 5U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(platform.sent_bytes, "hello");
    EXPECT_EQ(calls(), (strings{"event_select 34", "send 5"}));
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketWrite, GoesOnBehindWhatAShortSendTookAndReturnsTheLastCount)
{
    platform.send_counts = {4, 3};
    EXPECT_EQ(write("0123456789"), 3U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(platform.sent_bytes, "0123456789");
    EXPECT_EQ(calls(),
              (strings{"event_select 34", "send 10", "event_select 34", "send 6", "event_select 34", "send 3"}));
}

TEST_F(SocketWrite, SendsAnEmptyRangeOnce)
{
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(calls(), (strings{"event_select 34", "send 0"}));
}

TEST_F(SocketWrite, GivesBack6ForAClosedSocket)
{
    socket->close();
    forget();
    EXPECT_EQ(write("hello"), 0U);
    EXPECT_EQ(error, 6U);
    EXPECT_EQ(calls(), strings{"set_last_error 6"});
    EXPECT_EQ(logged(), strings{"200 socket(SOCKET) write error: invalid socket: error=0x6"});
    EXPECT_EQ(receiver.events, strings{});
}

TEST_F(SocketWrite, RaisesWhenEventsCannotBeSelected)
{
    platform.will_give("event_select", {10038});
    EXPECT_EQ(raised_by_write("hello"), "10038");
    EXPECT_EQ(calls(), strings{"event_select 34"});
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketWrite, WaitsWhileTheSocketIsBlockedAndSendsAgain)
{
    platform.will_give("send", {10035, 0});
    platform.will_find(events::write);
    EXPECT_EQ(write("hello"), 5U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(platform.sent_bytes, "hello");
    EXPECT_EQ(calls(),
              (strings{"event_select 34", "send 5", "wait 60000 alertable", "enum", "event_select 34", "send 5"}));
    EXPECT_EQ(logged(), strings{blocked});
}

TEST_F(SocketWrite, BlockedInTheMiddleGoesOnWhereItStopped)
{
    platform.send_counts = {2, 3};
    platform.will_give("send", {0, 10035, 0});
    EXPECT_EQ(write("hello"), 3U);
    EXPECT_EQ(platform.sent_bytes, "hello");
}

TEST_F(SocketWrite, TriesAgainAfterEachTimeOutWithoutLimit)
{
    constexpr std::size_t rounds = 500;
    platform.will_give("send", std::vector<std::uint32_t>(rounds, 10035));
    platform.will_give("wait", std::vector<std::uint32_t>(rounds, web::wait_code::timeout));
    EXPECT_EQ(write("hello"), 5U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(logged(), strings(rounds, blocked));
    EXPECT_EQ(calls().size(), rounds * 4 + 2);
}

TEST_F(SocketWrite, TriesAgainWhenACompletionRoutineEndedTheWait)
{
    platform.will_give("send", {10035});
    platform.will_give("wait", {web::wait_code::io_completion});
    EXPECT_EQ(write("hello"), 5U);
}

TEST_F(SocketWrite, RaisesWhenTheWaitFails)
{
    platform.will_give("send", {10035});
    platform.will_give("wait", {web::wait_code::failed});
    platform.wait_error = 10055;
    EXPECT_EQ(raised_by_write("hello"), "10055");
    EXPECT_EQ(logged(), (strings{blocked, "200 could not write: wait for socket evet failed with error 10055"}));
    EXPECT_EQ(receiver.events, strings{});
}

TEST_F(SocketWrite, RaisesWhenTheEventsCannotBeEnumerated)
{
    platform.will_give("send", {10035});
    platform.will_give("enum", {10036});
    EXPECT_EQ(raised_by_write("hello"), "10036");
    EXPECT_EQ(logged(), (strings{blocked, "200 could not write: enum socket evet failed with error 10036"}));
    EXPECT_EQ(receiver.events, strings{});
}

TEST_F(SocketWrite, RaisesTheCodeThatCameWithTheWriteEvent)
{
    platform.will_give("send", {10035});
    platform.will_find(events::write, events::write_bit, 10053);
    EXPECT_EQ(raised_by_write("hello"), "10053");
    EXPECT_EQ(logged(), (strings{blocked, "200 could not write: socket connect with error 10053"}));
}

TEST_F(SocketWrite, LooksAtTheCodeOfAWriteEventOnlyIfItCame)
{
    platform.will_give("send", {10035});
    platform.will_find(events::close, events::write_bit, 10053);
    EXPECT_EQ(write("hello"), 5U);
    EXPECT_EQ(error, 0U);
}

TEST_F(SocketWrite, StopsQuietlyWhenTheConnectionIsGone)
{
    for (const std::uint32_t code : {10053U, 10054U, 10058U}) {
        forget();
        platform.will_give("send", {code});
        EXPECT_EQ(raised_by_write("hello"), "nothing");
        EXPECT_EQ(error, code);
        EXPECT_EQ(calls(), (strings{"event_select 34", "send 5"}));
        EXPECT_EQ(logged(), strings{});
        EXPECT_EQ(receiver.events, strings{});
    }
    EXPECT_EQ(platform.sent_bytes, "");
}

TEST_F(SocketWrite, StopsQuietlyInTheMiddleToo)
{
    platform.send_counts = {2};
    platform.will_give("send", {0, 10054});
    EXPECT_EQ(write("hello"), 0U) << "the last send took nothing";
    EXPECT_EQ(error, 10054U);
    EXPECT_EQ(platform.sent_bytes, "he");
}

TEST_F(SocketWrite, ReportsAndRaisesAnyOtherCode)
{
    for (const std::uint32_t code : {10038U, 10050U, 10057U, 10101U}) {
        forget();
        platform.will_give("send", {code});
        EXPECT_EQ(raised_by_write("hello"), std::to_string(code));
        EXPECT_EQ(logged(), strings{"200 socket(SOCKET) write error: " + std::to_string(code)});
        EXPECT_EQ(receiver.events, strings{"error " + std::to_string(code)});
    }
}

TEST_F(SocketWrite, RaisesWithoutAReceiverToo)
{
    socket.emplace(test::fake_platform::some_handle(), nullptr, nullptr, nullptr, true, platform);
    platform.will_give("send", {10057});
    EXPECT_EQ(raised_by_write("hello"), "10057");
}

TEST_F(SocketWrite, ClearsTheErrorOfAnEarlierWrite)
{
    platform.will_give("send", {10054});
    write("hello");
    ASSERT_EQ(error, 10054U);
    write("again");
    EXPECT_EQ(error, 0U);
}

TEST_F(SocketWrite, PassesTheFilterInBlocksOf16384Bytes)
{
    doubling_filter filter;
    socket->set_filter(&filter);
    const std::string bytes = std::string(16384, 'a') + std::string(16384, 'b') + "c";
    EXPECT_EQ(write(bytes), 2U);
    EXPECT_EQ(filter.blocks, (std::vector<std::size_t>{16384, 16384, 1}));
    EXPECT_EQ(platform.sent_bytes, std::string(32768, 'a') + std::string(32768, 'b') + "cc");
    EXPECT_EQ(calls(),
              (strings{"event_select 34", "send 32768", "event_select 34", "send 32768", "event_select 34", "send 2"}));
}

TEST_F(SocketWrite, StopsAtTheFirstErrorBehindTheFilter)
{
    doubling_filter filter;
    socket->set_filter(&filter);
    platform.will_give("send", {0, 10054});
    write(std::string(16384 * 3, 'a'));
    EXPECT_EQ(error, 10054U);
    EXPECT_EQ(filter.blocks, (std::vector<std::size_t>{16384, 16384}));
    EXPECT_EQ(platform.sent_bytes.size(), 32768U);
}

TEST_F(SocketWrite, SendsNothingOfAnEmptyRangeThroughAFilter)
{
    doubling_filter filter;
    socket->set_filter(&filter);
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(calls(), strings{});
}

TEST_F(SocketWrite, GoesOnPlainAfterTheFilterWasTakenOut)
{
    doubling_filter filter;
    socket->set_filter(&filter);
    write("a");
    socket->set_filter(nullptr);
    write("b");
    EXPECT_EQ(platform.sent_bytes, "aab");
}

} // namespace
