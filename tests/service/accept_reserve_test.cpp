#include "service/accept_reserve.h"

#include <boost/asio/error.hpp>
#include <boost/system/error_code.hpp>
#include <gtest/gtest.h>

namespace accept_reserve_test {

using service::accept_reserve;
namespace error = boost::asio::error;
namespace errc = boost::system::errc;

TEST(accept_reserve, refuses_nobody_because_of_a_peer_that_has_gone)
{
    for (const error::basic_errors gone : {error::connection_aborted, error::connection_reset}) {
        EXPECT_EQ(accept_reserve::cause_of(gone), accept_reserve::cause::peer) << gone;
    }
    EXPECT_EQ(accept_reserve::cause_of(errc::make_error_code(errc::protocol_error)), accept_reserve::cause::peer);
}

TEST(accept_reserve, knows_when_the_system_has_no_room)
{
    for (const error::basic_errors lack : {error::no_descriptors, error::no_buffer_space, error::no_memory}) {
        EXPECT_EQ(accept_reserve::cause_of(lack), accept_reserve::cause::lack) << lack;
    }
    EXPECT_EQ(accept_reserve::cause_of(errc::make_error_code(errc::too_many_files_open_in_system)),
              accept_reserve::cause::lack);
}

TEST(accept_reserve, takes_no_other_failure_for_either)
{
    EXPECT_EQ(accept_reserve::cause_of(error::invalid_argument), accept_reserve::cause::other);
    EXPECT_EQ(accept_reserve::cause_of(error::bad_descriptor), accept_reserve::cause::other);
}

} // namespace accept_reserve_test
