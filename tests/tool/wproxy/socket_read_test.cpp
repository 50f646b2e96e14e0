#include "tests/tool/wproxy/socket_fixture.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using test::strings;

class SocketRead : public test::SocketOnFakePlatform
{
protected:
    void SetUp() override { make_attached(); }
};

TEST_F(SocketRead, StartsWithABufferOf16384Bytes)
{
    socket->read();
    EXPECT_EQ(calls(), strings{"recv 16384"});
    const auto taken = platform.take_outstanding();
    ASSERT_NE(taken, nullptr);
    context = taken.get();
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) read ctx=CTX"});
    EXPECT_EQ(taken->opcode, 1U);
    EXPECT_EQ(taken->data.size(), 16384U);
    EXPECT_EQ(taken->transferred, 0U);
    EXPECT_EQ(taken->error, 0U);
    EXPECT_EQ(taken->event, nullptr);
}

TEST_F(SocketRead, UsesTheContextThatItIsGiven)
{
    auto own = std::make_unique<web::read_context>();
    context = own.get();
    socket->read(std::move(own));
    EXPECT_EQ(platform.take_outstanding().get(), context);
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) read ctx=CTX"});
}

TEST_F(SocketRead, TreatsPendingAsStarted)
{
    platform.will_give("recv", {997});
    EXPECT_EQ(raised_by([&] { socket->read(); }), "nothing");
    EXPECT_TRUE(platform.read_is_outstanding());
}

TEST_F(SocketRead, ReportsAndRaisesAReadThatCannotStart)
{
    auto own = std::make_unique<web::read_context>();
    context = own.get();
    platform.will_give("recv", {10054});
    EXPECT_EQ(raised_by([&] { socket->read(std::move(own)); }), "10054");
    EXPECT_EQ(logged(), (strings{"500 socket(SOCKET) read ctx=CTX", "500 socket(SOCKET) read error: 10054, ctx=CTX"}));
    EXPECT_EQ(receiver.events, strings{"error 10054"});
    EXPECT_TRUE(socket->is_attached()) << "only the completion handler detaches";
}

TEST_F(SocketRead, DeliversReceivedBytesAndReadsAgainWithTheSameContext)
{
    auto taken = started_read();
    taken->Internal = 1;
    taken->InternalHigh = 1;
    EXPECT_TRUE(complete(std::move(taken), "some bytes"));
    EXPECT_EQ(receiver.events, strings{"input 'some bytes'"});
    EXPECT_EQ(logged(),
              (strings{"500 socket(SOCKET) read complete ctx=CTX, size=10", "500 socket(SOCKET) read ctx=CTX"}));
    EXPECT_EQ(calls(), strings{"recv 16384"});
    const auto again = platform.take_outstanding();
    ASSERT_EQ(again.get(), context);
    EXPECT_EQ(again->transferred, 0U);
    EXPECT_EQ(again->error, 0U);
    EXPECT_EQ(again->opcode, 1U);
    EXPECT_EQ(again->Internal, 0U);
    EXPECT_EQ(again->InternalHigh, 0U);
    EXPECT_TRUE(socket->is_attached());
}

TEST_F(SocketRead, DeliversAFullBuffer)
{
    const std::string bytes(16384, 'x');
    complete(started_read(), bytes);
    EXPECT_EQ(receiver.events, strings{"input '" + bytes + "'"});
}

TEST_F(SocketRead, OfZeroBytesMeansClosedByThePeer)
{
    receiver.on_error = [&] {
        EXPECT_FALSE(socket->is_attached());
        EXPECT_TRUE(socket->is_closed());
    };
    EXPECT_TRUE(complete(started_read(), ""));
    EXPECT_EQ(logged(), (strings{
                            "500 socket(SOCKET) ovelapped read has been finished: socket closed",
                            "400 socket(SOCKET) shutdown(send)",
                            "200 socket(SOCKET) shutdown(recv)",
                            "500 socket(SOCKET) shutdown sent=recv|send",
                            "500 socket(SOCKET) close socket ctx=CTX",
                            "500 socket(SOCKET) with ctx=CTX detached from channel",
                        }));
    EXPECT_EQ(calls(), (strings{"send_disconnect", "recv_disconnect"}));
    EXPECT_EQ(receiver.events, strings{"error 10058"});
    EXPECT_FALSE(platform.read_is_outstanding());
    EXPECT_TRUE(socket->has_valid_handle()) << "the owner closes it";
}

TEST_F(SocketRead, OfZeroBytesMeansClosedEvenIfNoCloseWasEnumerated)
{
    EXPECT_FALSE(socket->is_closed());
    complete(started_read(), "");
    EXPECT_TRUE(socket->is_closed());
    EXPECT_EQ(calls(), (strings{"send_disconnect", "recv_disconnect"})) << "the flag says it: nothing is enumerated";
}

TEST_F(SocketRead, DetachesOnAStoredError)
{
    auto taken = started_read();
    receiver.on_error = [&] { EXPECT_TRUE(socket->is_attached()) << "reported before it detaches"; };
    EXPECT_TRUE(complete(std::move(taken), "", 995));
    EXPECT_EQ(logged(), (strings{"500 socket(SOCKET) error occured ctx=CTX, error=995",
                                 "500 socket(SOCKET) with ctx=CTX detached from channel by error 0x3e3"}));
    EXPECT_EQ(receiver.events, strings{"error 995"});
    EXPECT_EQ(calls(), strings{});
    EXPECT_FALSE(socket->is_attached());
    EXPECT_TRUE(socket->is_closed());
    EXPECT_FALSE(platform.read_is_outstanding());
}

TEST_F(SocketRead, LooksAtTheErrorAlsoWhenBytesCame)
{
    complete(started_read(), "bytes", 10054);
    EXPECT_EQ(receiver.events, strings{"error 10054"});
    EXPECT_EQ(logged().back(), "500 socket(SOCKET) with ctx=CTX detached from channel by error 0x2746");
}

TEST_F(SocketRead, ReportsNothingWhereNobodyListens)
{
    socket.emplace(test::fake_platform::some_handle(), &channel, &receiver, nullptr, true, platform);
    complete(started_read(), "", 10054);
    EXPECT_TRUE(socket->is_closed());
    socket.emplace(test::fake_platform::some_handle(), &channel, &receiver, nullptr, true, platform);
    complete(started_read(), "");
    EXPECT_TRUE(socket->is_closed());
    EXPECT_EQ(receiver.events, strings{});
}

TEST_F(SocketRead, ReportsAPlatformErrorOfTheReceiverWithItsCode)
{
    auto taken = started_read();
    receiver.on_input = [] { throw error::win32exception(8, "heap", 12); };
    receiver.on_error = [&] { EXPECT_TRUE(socket->is_attached()); };
    EXPECT_TRUE(complete(std::move(taken), "bytes"));
    EXPECT_EQ(receiver.events, (strings{"input 'bytes'", "error 8"}));
    EXPECT_EQ(logged(), (strings{"500 socket(SOCKET) read complete ctx=CTX, size=5",
                                 "200 for socket(SOCKET) error occured: winapi error occured at source heap(12): error "
                                 "code 8, detached from channel. error = 0x8"}));
    EXPECT_FALSE(socket->is_attached());
    EXPECT_FALSE(platform.read_is_outstanding());
    EXPECT_FALSE(socket->is_closed()) << "detached, but nobody has closed it";
}

TEST_F(SocketRead, ReportsAnyOtherExceptionOfTheReceiverAs10053)
{
    auto taken = started_read();
    receiver.on_input = [] { throw std::runtime_error("cannot take it"); };
    EXPECT_TRUE(complete(std::move(taken), "bytes"));
    EXPECT_EQ(receiver.events, (strings{"input 'bytes'", "error 10053"}));
    EXPECT_EQ(logged(), (strings{"500 socket(SOCKET) read complete ctx=CTX, size=5",
                                 "200 for socket(SOCKET) error occured: cannot take it, detached from channel"}));
    EXPECT_FALSE(socket->is_attached());
}

TEST_F(SocketRead, ReportsAFailedReReadTwiceAndDetaches)
{
    auto taken = started_read();
    platform.will_give("recv", {10054});
    EXPECT_TRUE(complete(std::move(taken), "bytes"));
    EXPECT_EQ(receiver.events, (strings{"input 'bytes'", "error 10054", "error 10054"}));
    const auto lines = logged();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "500 socket(SOCKET) read complete ctx=CTX, size=5");
    EXPECT_EQ(lines[1], "500 socket(SOCKET) read ctx=CTX");
    EXPECT_EQ(lines[2], "500 socket(SOCKET) read error: 10054, ctx=CTX");
    EXPECT_EQ(lines[3].find("200 for socket(SOCKET) error occured: winapi error occured at source "
                            "tool\\wproxy\\socket("),
              0U);
    EXPECT_NE(lines[3].find("): error code 10054, detached from channel. error = 0x2746"), std::string::npos);
    EXPECT_FALSE(socket->is_attached());
}

TEST_F(SocketRead, IsNotStartedAgainOnASocketClosedMeanwhile)
{
    auto taken = started_read();
    socket->close();
    forget();
    platform.will_give("recv", {10038});
    complete(std::move(taken), "late");
    EXPECT_EQ(calls(), strings{"recv(invalid) 16384"});
    EXPECT_EQ(receiver.events, (strings{"input 'late'", "error 10038", "error 10038"}));
    EXPECT_TRUE(socket->is_closed());
}

TEST_F(SocketRead, LetsNoExceptionOfTheStateReachTheChannel)
{
    auto taken = started_read();
    receiver.on_input = [] { throw std::runtime_error("cannot take it"); };
    receiver.on_error = [] { throw std::runtime_error("cannot tell it"); };
    EXPECT_TRUE(complete(std::move(taken), "bytes"));
    EXPECT_FALSE(socket->is_attached());
    EXPECT_EQ(logged().back(), "200 for socket(SOCKET) error occured: cannot take it, detached from channel");
}

TEST_F(SocketRead, IgnoresACompletedWrite)
{
    auto taken = started_read();
    taken->opcode = web::read_context::write;
    EXPECT_TRUE(complete(std::move(taken), "bytes", 10054));
    EXPECT_EQ(receiver.events, strings{});
    EXPECT_EQ(logged(), strings{});
    EXPECT_EQ(calls(), strings{});
    EXPECT_TRUE(socket->is_attached());
}

TEST_F(SocketRead, BreaksIntoTheDebuggerForAnyOtherOpcode)
{
    for (const std::uint32_t opcode : {0U, 3U, 0xFFFFFFFFU}) {
        auto taken = started_read();
        taken->opcode = opcode;
        EXPECT_TRUE(complete(std::move(taken), "bytes"));
        EXPECT_EQ(logged(), strings{"500 invalid socket opcode"});
        EXPECT_EQ(calls(), strings{"debug_break"});
        EXPECT_EQ(receiver.events, strings{});
    }
}

TEST_F(SocketRead, SetsItsEventOnceEachCompletionWasHandled)
{
    tpl::event handled;
    socket->read(nullptr, &handled);
    receiver.on_input = [&] { EXPECT_EQ(handled.wait(0), tpl::wait_result::timeout); };
    complete(platform.take_outstanding(), "one");
    EXPECT_EQ(handled.wait(0), tpl::wait_result::signalled);
    complete(platform.take_outstanding(), "two");
    EXPECT_EQ(handled.wait(0), tpl::wait_result::signalled);
    complete(platform.take_outstanding(), "", 995);
    EXPECT_EQ(handled.wait(0), tpl::wait_result::signalled);
}

/// Splits its input at commas.
class comma_filter final : public web::byte_filter
{
public:
    void feed(const char* begin, const char* end) override { held_.append(begin, end); }
    bool produce(std::string_view& block) override
    {
        const auto comma = held_.find(',');
        if (comma == std::string::npos) {
            return false;
        }
        block_ = held_.substr(0, comma);
        held_.erase(0, comma + 1);
        block = block_;
        return true;
    }
    std::string_view transform(const char* begin, const char* end) override
    {
        return {begin, static_cast<std::size_t>(end - begin)};
    }

private:
    std::string held_;
    std::string block_;
};

TEST_F(SocketRead, PassesTheBlocksOfAFilterOn)
{
    comma_filter filter;
    socket->set_filter(&filter);
    complete(started_read(), "one,two,thr");
    EXPECT_EQ(receiver.events, (strings{"input 'one'", "input 'two'"}));
    receiver.events.clear();
    complete(platform.take_outstanding(), "ee,");
    EXPECT_EQ(receiver.events, strings{"input 'three'"});
    receiver.events.clear();
    complete(platform.take_outstanding(), "rest");
    EXPECT_EQ(receiver.events, strings{});
    EXPECT_TRUE(platform.read_is_outstanding());
}

} // namespace
