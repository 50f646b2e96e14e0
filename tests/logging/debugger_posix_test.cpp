#include "logging/logging.h"

#include <gtest/gtest.h>

namespace {

TEST(debugger_destination, is_accepted_and_keeps_nothing_where_there_is_no_such_channel)
{
    logging::configurator::default_configurator().configure(L"level=500; debugger");
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    logging::configurator::default_configurator().configure({});
}

} // namespace
