#include "tool/system/errors.h"
#include "tool/system/system_message.h"
#include "tool/system/win32_codes.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

TEST(win32exception, tells_source_line_and_code)
{
    const error::win32exception failure(10054, "tool\\wproxy\\socket", 12);
    EXPECT_STREQ(failure.what(), "winapi error occured at source tool\\wproxy\\socket(12): error code 10054");
    EXPECT_EQ(failure.code(), 10054U);
    EXPECT_EQ(failure.line(), 12);
}

TEST(win32exception, puts_an_optional_text_behind_a_comma)
{
    const error::win32exception failure(10061, "a", 1, "timeout=3");
    EXPECT_STREQ(failure.what(), "winapi error occured at source a(1): error code 10061, timeout=3");
}

TEST(win32exception, shows_a_large_code_as_unsigned)
{
    const error::win32exception failure(0xFFFFFFFFU, "a", 0);
    EXPECT_STREQ(failure.what(), "winapi error occured at source a(0): error code 4294967295");
}

TEST(last_error, has_the_same_text_without_the_optional_one)
{
    const winapi::last_error failure(5, 77, "path\\file");
    EXPECT_STREQ(failure.what(), "winapi error occured at source path\\file(77): error code 5");
    EXPECT_EQ(failure.code(), 5U);
    EXPECT_EQ(failure.line(), 77);
}

TEST(HresultException, shows_the_result_in_hexadecimal)
{
    const error::HresultException failure("Failed to read", E_UNEXPECTED, "outlook\\file", 9);
    EXPECT_STREQ(failure.what(), "outlook\\file(9): error 8000ffff: Failed to read");
    EXPECT_EQ(failure.result(), E_UNEXPECTED);
    EXPECT_EQ(failure.line(), 9);
}

TEST(win32_error, is_the_text_followed_by_the_systems_message)
{
    const cache::win32_error failure("Could not open: ", winapi::code::invalid_handle, 3);
    EXPECT_EQ(failure.what(), "Could not open: " + winapi::system_message(winapi::code::invalid_handle));
    EXPECT_EQ(failure.code(), 6U);
    EXPECT_EQ(failure.line(), 3);
}

TEST(system_message, has_words_and_a_line_end_for_a_known_code)
{
    for (const std::uint32_t code : {2U, 5U, 6U, 87U}) {
        const std::string text = winapi::system_message(code);
        ASSERT_GT(text.size(), 4U) << code;
        EXPECT_EQ(text.substr(text.size() - 2), "\r\n") << code;
    }
    EXPECT_NE(winapi::system_message(5), winapi::system_message(6));
}

TEST(system_message, is_empty_for_a_code_that_nobody_knows)
{
    EXPECT_EQ(winapi::system_message(0x2FFF1234U), "");
}

TEST(errors, all_derive_from_runtime_error)
{
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, error::win32exception>));
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, error::HresultException>));
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, winapi::last_error>));
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, cache::win32_error>));
}

TEST(hresult, constants_have_the_numbers_of_the_platform)
{
    EXPECT_EQ(static_cast<std::uint32_t>(E_NOTIMPL), 0x80004001U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_NOINTERFACE), 0x80004002U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_POINTER), 0x80004003U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_FAIL), 0x80004005U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_UNEXPECTED), 0x8000FFFFU);
    EXPECT_EQ(static_cast<std::uint32_t>(E_INVALIDARG), 0x80070057U);
    EXPECT_EQ(hresult(0x8007000EU), E_OUTOFMEMORY);
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
    EXPECT_TRUE(FAILED(E_FAIL));
}

} // namespace
