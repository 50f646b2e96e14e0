#include "tool/system/identity.h"
#include "tool/system/win32_codes.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(identity, knows_the_user_and_their_security_identifier)
{
    const std::wstring user = winapi::current_user_name();
    ASSERT_FALSE(user.empty());
    const std::wstring sid = winapi::user_sid_text(user);
    EXPECT_EQ(sid.substr(0, 4), L"S-1-") << "for a user that this machine knows";
    EXPECT_EQ(sid, winapi::user_sid_text(user));
}

TEST(identity, has_no_security_identifier_for_a_stranger)
{
    EXPECT_EQ(winapi::user_sid_text(L"no such user of this machine"), L"");
}

TEST(identity, finds_the_session_of_this_process)
{
    const std::uint32_t process = winapi::current_process_id();
    EXPECT_NE(process, 0U);
    std::uint32_t session = 0xFFFFFFFFU;
    ASSERT_TRUE(winapi::process_id_to_session_id(process, session));
    EXPECT_NE(session, 0xFFFFFFFFU);
}

TEST(identity, says_by_the_last_error_why_a_session_is_not_found)
{
    winapi::last_error_code(0);
    std::uint32_t session = 0xFFFFFFFFU;
    EXPECT_FALSE(winapi::process_id_to_session_id(0x7FFFFFF0U, session));
    EXPECT_EQ(session, 0xFFFFFFFFU) << "left alone";
    EXPECT_EQ(winapi::last_error_code(), winapi::code::invalid_parameter);
}

TEST(identity, tells_the_path_of_the_executable)
{
    const std::filesystem::path path(winapi::current_process_path());
    EXPECT_TRUE(path.is_absolute());
    EXPECT_EQ(path.stem(), "test_system");
}

} // namespace
