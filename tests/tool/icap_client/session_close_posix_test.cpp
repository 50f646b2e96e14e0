#include "tests/support/log_hook.h"
#include "tests/tool/icap_client/session_fixture.h"
#include "tool/asyncio/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

using tpl::wait_result;

class SessionClose : public test::session_fixture
{};

/// The shutdown ends the read as well, as the end of the stream, if the worker notices it ahead of the cancellation.
TEST_F(SessionClose, CancelsItsReadAheadOfClosingTheSocket)
{
    constexpr int most_attempts = 100;
    std::atomic<bool> cancelled{false};
    for (int attempt = 0; attempt < most_attempts && !cancelled; ++attempt) {
        const auto closed =
            std::make_shared<std::atomic<bool>>(false); // shared with the peer, which outlives the scope
        serve(test::greeted().hold_until([closed] { return closed->load(); })); // the peer's close would end the read
        open();
        tpl::event ended;
        wait_result seen = wait_result::timeout;
        {
            const test::log_hook code("network problem occured: 995", [&] { cancelled = true; });
            const test::log_hook end_of_read("network problem occured: ", [&] { ended.set(); });
            const test::log_hook behind_the_cancellation(name() + " io canceled", [&] { seen = ended.wait(60000); });
            subject->close();
        }
        *closed = true;
        ASSERT_EQ(seen, wait_result::signalled) << "the read is still under way";
        subject.reset();
    }
    EXPECT_TRUE(cancelled);
}

} // namespace
