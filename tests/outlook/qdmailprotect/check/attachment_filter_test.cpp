#include "outlook/qdmailprotect/check/attachment_filter.h"

#include <gtest/gtest.h>

namespace {

TEST(extension_filter, refuses_each_executable_extension)
{
    for (const wchar_t* extension :
         {L"VBS", L"VBE", L"JS",  L"JSE", L"PS1", L"PSD1", L"PSM1", L"PY",  L"PYD", L"BAT", L"CMD",
          L"MSI", L"MSP", L"MST", L"EXE", L"PL",  L"HTA",  L"CHM",  L"WSF", L"WSC", L"WSH", L"SCT"}) {
        EXPECT_FALSE(IsExtensionAllowed(std::wstring(L"payload.") + extension));
    }
}

TEST(extension_filter, knows_neither_case_nor_trailing_blanks)
{
    EXPECT_FALSE(IsExtensionAllowed(L"payload.exe"));
    EXPECT_FALSE(IsExtensionAllowed(L"payload.eXe"));
    EXPECT_FALSE(IsExtensionAllowed(L"payload.EXE  "));
    EXPECT_FALSE(IsExtensionAllowed(L"payload.EXE\t \n"));
    EXPECT_FALSE(IsExtensionAllowed(L".bat"));
}

TEST(extension_filter, looks_only_behind_the_last_dot)
{
    EXPECT_TRUE(IsExtensionAllowed(L"payload.exe.txt"));
    EXPECT_FALSE(IsExtensionAllowed(L"payload.txt.exe"));
    EXPECT_TRUE(IsExtensionAllowed(L"payload.exe."));
    EXPECT_TRUE(IsExtensionAllowed(L"payload. exe")) << "blanks in front count";
}

TEST(extension_filter, compares_whole_extensions)
{
    EXPECT_TRUE(IsExtensionAllowed(L"payload.exec"));
    EXPECT_TRUE(IsExtensionAllowed(L"payload.ex"));
    EXPECT_TRUE(IsExtensionAllowed(L"payload.ps"));
    EXPECT_TRUE(IsExtensionAllowed(L"payload.dll"));
}

TEST(extension_filter, allows_names_without_an_extension)
{
    EXPECT_TRUE(IsExtensionAllowed(std::wstring()));
    EXPECT_TRUE(IsExtensionAllowed(L"exe"));
    EXPECT_TRUE(IsExtensionAllowed(L"."));
    EXPECT_TRUE(IsExtensionAllowed(L"name.   "));
}

} // namespace
