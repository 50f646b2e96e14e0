#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

/// The calling thread's locale while the object exists.
class thread_locale_is
{
public:
    explicit thread_locale_is(LCID locale)
        : before_(::GetThreadLocale())
    {
        EXPECT_NE(::SetThreadLocale(locale), FALSE);
    }
    thread_locale_is(const thread_locale_is&) = delete;
    thread_locale_is& operator=(const thread_locale_is&) = delete;
    ~thread_locale_is() { ::SetThreadLocale(before_); }

private:
    LCID before_;
};

constexpr LCID russian = 0x0419;
constexpr LCID greek = 0x0408;

TEST(thread_ansi_code_page, is_that_of_the_calling_threads_locale)
{
    {
        const thread_locale_is locale(russian);
        EXPECT_EQ(winapi::conv_to_char(L"\u0416", winapi::code_page_thread_ansi), "\xC6");
        EXPECT_EQ(winapi::conv_to_wide("\xC6", winapi::code_page_thread_ansi), L"\u0416");
    }
    const thread_locale_is locale(greek);
    EXPECT_EQ(winapi::conv_to_char(L"\u0416", winapi::code_page_thread_ansi), "?");
    EXPECT_EQ(winapi::conv_to_wide("\xC6", winapi::code_page_thread_ansi), L"\u0396");
}

TEST(thread_ansi_code_page, leaves_the_systems_alone)
{
    const thread_locale_is locale(russian);
    EXPECT_EQ(winapi::ansi_code_page(), ::GetACP());
    EXPECT_EQ(winapi::conv_to_wide("\xE9"), winapi::conv_to_wide("\xE9", ::GetACP()));
}

} // namespace
