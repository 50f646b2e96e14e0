#include "tool/asyncio/thread_identity_windows.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> looked_up; // one test at a time

void* find(const wchar_t* module, const char* name)
{
    looked_up.push_back(std::string(module, module + std::wcslen(module)) + "!" + name);
    return reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(module), name));
}

void* find_without_get_thread_id(const wchar_t* module, const char* name)
{
    void* const found = find(module, name);
    return std::string(name) == "GetThreadId" ? nullptr : found;
}

HANDLE own_thread()
{
    HANDLE handle = nullptr;
    ::DuplicateHandle(::GetCurrentProcess(), ::GetCurrentThread(), ::GetCurrentProcess(), &handle, 0, FALSE,
                      DUPLICATE_SAME_ACCESS);
    return handle;
}

TEST(ThreadIdentity, ComesFromGetThreadIdLookedUpEachTime)
{
    const HANDLE handle = own_thread();
    looked_up.clear();
    for (int call = 0; call < 2; ++call) {
        const auto identity = tpl::find_thread_identity(handle, &find);
        EXPECT_EQ(identity.id, ::GetCurrentThreadId());
        EXPECT_FALSE(identity.fallback);
    }
    EXPECT_EQ(looked_up, (std::vector<std::string>{"Kernel32.dll!GetThreadId", "Kernel32.dll!GetThreadId"}));
    ::CloseHandle(handle);
}

TEST(ThreadIdentity, ComesFromTheThreadsBasicInformationWhereTheExportIsAbsent)
{
    const HANDLE handle = own_thread();
    looked_up.clear();
    const auto identity = tpl::find_thread_identity(handle, &find_without_get_thread_id);
    EXPECT_EQ(identity.id, ::GetCurrentThreadId());
    EXPECT_TRUE(identity.fallback);
    EXPECT_EQ(looked_up, (std::vector<std::string>{"Kernel32.dll!GetThreadId", "ntdll.dll!NtQueryInformationThread"}));
    ::CloseHandle(handle);
}

} // namespace
