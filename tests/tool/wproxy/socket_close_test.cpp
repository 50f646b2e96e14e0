#include "tests/tool/wproxy/socket_fixture.h"
#include "tool/asyncio/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using test::strings;
namespace events = web::network_event;

class SocketClose : public test::SocketOnFakePlatform
{
protected:
    void SetUp() override { make_attached(); }
};

TEST_F(SocketClose, ReplacesTheHandleAndTells)
{
    socket->close();
    EXPECT_EQ(calls(), strings{"closesocket"});
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) closed. assigned to channel = true"});
    EXPECT_FALSE(socket->has_valid_handle());
    EXPECT_EQ(socket->handle(), tpl::invalid_handle);
}

TEST_F(SocketClose, TwiceClosesTheHandleOnce)
{
    socket->close();
    socket->close();
    EXPECT_EQ(calls(), strings{"closesocket"});
    EXPECT_EQ(logged(), strings(2, "500 socket(SOCKET) closed. assigned to channel = true"));
}

TEST_F(SocketClose, MayFollowALettingGoThatLogsNothing)
{
    socket->let_go();
    socket->let_go();
    EXPECT_EQ(calls(), (strings{"closesocket", "close_event"}));
    EXPECT_EQ(logged(), strings{});
    EXPECT_FALSE(socket->has_valid_handle());
    socket->close();
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) closed. assigned to channel = true"});
}

TEST_F(SocketClose, ByLettingGoIsCompleteOnlyWhenItsReadHasCompleted)
{
    auto taken = started_read();
    socket->let_go();
    EXPECT_FALSE(socket->is_closed());
    complete(std::move(taken), "", 995);
    EXPECT_TRUE(socket->is_closed());
}

TEST_F(SocketClose, OfAnAttachedSocketIsCompleteOnlyWhenItsReadHasCompleted)
{
    auto taken = started_read();
    socket->close();
    EXPECT_FALSE(socket->is_closed());
    complete(std::move(taken), "", 995);
    EXPECT_TRUE(socket->is_closed());
}

TEST_F(SocketClose, OfADetachedSocketIsCompleteAtOnce)
{
    make();
    socket->close();
    EXPECT_TRUE(socket->is_closed());
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) closed. assigned to channel = false"});
}

TEST_F(SocketClose, LeavesTheInvalidHandleAlone)
{
    socket->close();
    forget();
    EXPECT_FALSE(socket->is_closed());
    EXPECT_EQ(calls(), strings{});
}

TEST_F(SocketClose, IsSeenByEnumeration)
{
    make();
    EXPECT_FALSE(socket->is_closed());
    platform.will_find(events::write);
    EXPECT_FALSE(socket->is_closed());
    platform.will_find(events::close | events::write);
    EXPECT_TRUE(socket->is_closed());
    EXPECT_EQ(calls(), (strings{"enum", "enum", "enum"}));
    EXPECT_TRUE(socket->is_closed());
    EXPECT_EQ(calls(), strings{}) << "once closed nothing is asked any more";
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketClose, SeenByEnumerationWaitsForTheOutstandingReadToo)
{
    auto taken = started_read();
    platform.will_find(events::close);
    EXPECT_FALSE(socket->is_closed());
    EXPECT_FALSE(socket->is_closed());
    complete(std::move(taken), "");
    EXPECT_TRUE(socket->is_closed());
}

TEST_F(SocketClose, RaisesAFailedEnumerationAlsoForWhatIsNoSocket)
{
    for (const std::uint32_t code : {10038U, 10036U, 10050U}) {
        platform.will_give("enum", {code});
        EXPECT_EQ(raised_by([&] { static_cast<void>(socket->is_closed()); }), std::to_string(code));
    }
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketClose, WaitsForAnotherThreadThatUsesTheHandle)
{
    const std::vector<std::pair<std::string, std::function<void()>>> uses{
        {"send_disconnect", [&] { socket->shutdown(web::socket::send); }},
        {"recv_disconnect", [&] { socket->shutdown(web::socket::receive); }},
        {"recv 16384", [&] { socket->read(); }}};
    for (const auto& [name, use] : uses) {
        make_attached();
        tpl::event entered;
        std::atomic<bool> closing{false};
        std::atomic<bool> closed{false};
        bool closed_within = false;
        platform.on_call = [&, name = name](const std::string& call) {
            if (call == "closesocket") {
                closed = true;
            } else if (call == name) {
                entered.set();
                for (int chance = 0; chance < 1000 && !closed; chance += closing ? 1 : 0) {
                    std::this_thread::yield();
                }
                closed_within = closed;
            }
        };
        std::thread worker(use);
        EXPECT_EQ(entered.wait(60000), tpl::wait_result::signalled) << name;
        closing = true;
        socket->close();
        worker.join();
        platform.on_call = nullptr;
        EXPECT_FALSE(closed_within) << name;
        EXPECT_EQ(calls(), (strings{name, "closesocket"}));
        static_cast<void>(platform.take_outstanding());
    }
}

class SocketShutdown : public SocketClose
{};

TEST_F(SocketShutdown, OfBothDirectionsTellsSendFirst)
{
    socket->shutdown(web::socket::receive | web::socket::send);
    EXPECT_EQ(calls(), (strings{"send_disconnect", "recv_disconnect"}));
    EXPECT_EQ(logged(), (strings{"400 socket(SOCKET) shutdown(send)", "200 socket(SOCKET) shutdown(recv)"}));
}

TEST_F(SocketShutdown, HasBit1ForReceiveAndBit2ForSend)
{
    socket->shutdown(1);
    EXPECT_EQ(calls(), strings{"recv_disconnect"});
    socket->shutdown(2);
    EXPECT_EQ(calls(), strings{"send_disconnect"});
}

TEST_F(SocketShutdown, DoesNothingForOtherBits)
{
    socket->shutdown(0);
    socket->shutdown(4);
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketShutdown, OfADirectionIsDoneOnce)
{
    socket->shutdown(3);
    forget();
    socket->shutdown(3);
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketShutdown, ThatFailsIsToldAndNotTriedAgain)
{
    platform.will_give("send_disconnect", {10057});
    platform.will_give("recv_disconnect", {10054});
    socket->shutdown(3);
    EXPECT_EQ(logged(), (strings{"200 socket(SOCKET) shutdown(send) error: 10057",
                                 "200 socket(SOCKET) shutdown(recv) error: 10054"}));
    forget();
    socket->shutdown(3);
    EXPECT_EQ(calls(), strings{});
}

TEST_F(SocketShutdown, OfAClosedSocketDoesNothing)
{
    socket->close();
    forget();
    socket->shutdown(3);
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(logged(), strings{});
}

class SocketLocalAddress : public SocketClose
{};

TEST_F(SocketLocalAddress, IsConvertedWithoutThePort)
{
    EXPECT_EQ(socket->local_address(), "host 2130706433 port 0");
    EXPECT_EQ(calls(), (strings{"getsockname", "address_to_string 32"}));
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketLocalAddress, IsZeroWhereTheSocketHasNone)
{
    platform.will_give("getsockname", {10022});
    EXPECT_EQ(socket->local_address(), "0.0.0.0");
    EXPECT_EQ(calls(), strings{"getsockname"});
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketLocalAddress, TakesTheSizeThatTheConversionAsksFor)
{
    platform.will_give("address_to_string", {10014, 0});
    platform.text_size_needed = 48;
    EXPECT_EQ(socket->local_address(), "host 2130706433 port 0");
    EXPECT_EQ(calls(), (strings{"getsockname", "address_to_string 32", "address_to_string 48"}));
    EXPECT_EQ(logged(), strings{});
}

TEST_F(SocketLocalAddress, IsZeroWhenTheConversionFailsAgain)
{
    platform.will_give("address_to_string", {10014, 10014});
    platform.text_size_needed = 64;
    EXPECT_EQ(socket->local_address(), "0.0.0.0");
    EXPECT_EQ(calls(), (strings{"getsockname", "address_to_string 32", "address_to_string 64"}));
    EXPECT_EQ(logged(), strings{"200 could not convert host address to string"});
}

TEST_F(SocketLocalAddress, IsZeroWhenTheConversionFailsOtherwise)
{
    platform.will_give("address_to_string", {10022});
    EXPECT_EQ(socket->local_address(), "0.0.0.0");
    EXPECT_EQ(calls(), (strings{"getsockname", "address_to_string 32"}));
    EXPECT_EQ(logged(), strings{"200 could not convert host address to string"});
}

} // namespace
