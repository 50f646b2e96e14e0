#include "tool/system/identity_windows.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::wstring domain_of_all; // returned for every user by the look-up below

/// Reports every user as the system's own account, with the results of LookupAccountNameW.
BOOL WINAPI know_everybody(LPCWSTR, LPCWSTR, PSID sid, LPDWORD sid_size, LPWSTR domain, LPDWORD domain_size,
                           PSID_NAME_USE use)
{
    if (*domain_size <= domain_of_all.size()) {
        *domain_size = static_cast<DWORD>(domain_of_all.size() + 1);
        ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    domain_of_all.copy(domain, domain_of_all.size());
    domain[domain_of_all.size()] = L'\0';
    *domain_size = static_cast<DWORD>(domain_of_all.size());
    *use = SidTypeUser;
    return ::CreateWellKnownSid(WinLocalSystemSid, nullptr, sid, sid_size);
}

TEST(identity_of_a_domain, is_known_while_its_name_fits)
{
    domain_of_all.assign(19, L'D');
    EXPECT_EQ(winapi::user_sid_text(L"ada", know_everybody), L"S-1-5-18");
}

TEST(identity_of_a_domain, of_more_than_20_characters_is_empty)
{
    domain_of_all.assign(21, L'D');
    EXPECT_EQ(winapi::user_sid_text(L"ada", know_everybody), L"");
}

} // namespace
