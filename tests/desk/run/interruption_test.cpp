#include "desk/run/interruption.h"
#include "desk/run/open_messages.h"
#include "tests/desk/run/interruption_fixture.h"
#include "tests/desk/run/listed_messages.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>
#include <unistd.h>
#include <utility>

namespace host::test {
namespace {

using Interruption = interruption_fixture;

TEST_F(Interruption, LeavesTheProcessAsItWas)
{
    {
        const interruption caught(where);
        EXPECT_EQ((std::array{1, 1}), blocked());
        EXPECT_FALSE(interruption::limits_of_inputs().is_given_up());
    }
    EXPECT_EQ(descriptors_before, descriptors());
    EXPECT_EQ(blocked_before, blocked());
}

/// Opens each message while the process is asked to end.
class interrupted_opener final : public message_opener
{
public:
    opening open(const std::shared_ptr<message_record>& stored) override
    {
        EXPECT_EQ(0, ::kill(::getpid(), SIGTERM));
        for (int i = 0; i < 6000 && interruption::signal() == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        opening result;
        result.shown = stored->copy();
        return result;
    }
};

TEST_F(Interruption, EndsARunBehindItsLastMessageToo)
{
    std::optional<interruption> caught(std::in_place, where);
    listed_messages places({message_place{}});
    const message_reader read = [](const message_place&, const std::shared_ptr<store_context>&) {
        return message_record{};
    };
    interrupted_opener client;
    opening_totals totals;
    open_messages(places, opening_plan{}, read, client, where, totals);
    EXPECT_EQ(SIGTERM, totals.stopped_by);
    EXPECT_EQ(1U, totals.done);
    EXPECT_TRUE(interruption::limits_of_inputs().is_given_up());
    caught.reset();
    EXPECT_EQ(0, interruption::signal());
}

} // namespace
} // namespace host::test
