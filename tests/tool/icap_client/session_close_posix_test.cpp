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

/// Either the shutdown or the cancellation ends the read, whichever the worker notices first.
TEST_F(SessionClose, EndsItsReadAheadOfClosingTheSocket)
{
    const auto closed =
        std::make_shared<std::atomic<bool>>(false); // shared with the peer, which outlives this function
    serve(
        test::greeted().hold_until([closed] { return closed->load(); })); // the peer's own close must not end the read
    open();
    tpl::event ended;
    wait_result seen = wait_result::timeout;
    {
        const test::log_hook end_of_read("network problem occured: ", [&] { ended.set(); });
        const test::log_hook behind_the_cancellation(name() + " io canceled", [&] { seen = ended.wait(60000); });
        subject->close();
    }
    *closed = true;
    EXPECT_EQ(seen, wait_result::signalled) << "the read is still under way";
}

} // namespace
