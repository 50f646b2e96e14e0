#include "outlook/qdmailprotect/mapi/mapi_library.h"

#include <gtest/gtest.h>

namespace {

TEST(mapi_library, that_is_missing_is_told_by_the_systems_error)
{
    MapiLibrary library(L"no such library.dll");
    void* buffer = nullptr;
    EXPECT_EQ(library.Initialize(nullptr), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(library.AllocateBuffer(8, &buffer), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(library.AllocateMore(8, nullptr, &buffer), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
    int something = 0;
    EXPECT_NE(library.FreeBuffer(&something), 0U);
    library.Uninitialize();
    library.Release();
}

TEST(mapi_library, without_the_entries_is_told_by_the_systems_error)
{
    MapiLibrary library(L"kernel32.dll");
    void* buffer = nullptr;
    EXPECT_EQ(library.Initialize(nullptr), HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
    EXPECT_EQ(library.AllocateBuffer(8, &buffer), HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
    library.Uninitialize();
}

TEST(mapi_library, frees_nothing_without_being_looked_for)
{
    MapiLibrary library(L"no such library.dll");
    EXPECT_EQ(library.FreeBuffer(nullptr), 0U);
}

TEST(mapi_library, of_the_system_allocates)
{
    MapiLibrary library(L"mapi32.dll");
    for (int round = 0; round < 2; ++round) {
        void* owner = nullptr;
        ASSERT_EQ(library.AllocateBuffer(16, &owner), S_OK);
        void* more = nullptr;
        ASSERT_EQ(library.AllocateMore(16, owner, &more), S_OK);
        EXPECT_NE(more, nullptr);
        EXPECT_EQ(library.FreeBuffer(owner), 0U);
        library.Release(); // and is loaded again
    }
}

TEST(mapi_library, let_go_leaves_the_process)
{
    constexpr const wchar_t* unused = L"avifil32.dll"; // any system library that is not in use here
    ASSERT_EQ(::GetModuleHandleW(unused), nullptr);
    MapiLibrary library(unused);
    void* buffer = nullptr;
    EXPECT_EQ(library.AllocateBuffer(8, &buffer), HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
    EXPECT_NE(::GetModuleHandleW(unused), nullptr);
    library.Release();
    EXPECT_EQ(::GetModuleHandleW(unused), nullptr);
}

TEST(mapi_library, that_the_client_has_brought_is_the_one)
{
    const winapi::module_handle brought(::LoadLibraryW(L"avifil32.dll"));
    ASSERT_TRUE(static_cast<bool>(brought));
    MapiLibrary library(L"avifil32.dll");
    EXPECT_EQ(library.Initialize(nullptr), HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
    library.Release();
    EXPECT_EQ(::GetModuleHandleW(L"avifil32.dll"), brought.get()) << "the client's reference is its own";
}

TEST(mapi_library, has_its_entries_under_their_own_names)
{
    void* owner = nullptr;
    ASSERT_EQ(MAPIAllocateBuffer(8, &owner), S_OK);
    void* more = nullptr;
    EXPECT_EQ(MAPIAllocateMore(8, owner, &more), S_OK);
    EXPECT_EQ(MAPIFreeBuffer(owner), 0U);
    EXPECT_EQ(MAPIFreeBuffer(nullptr), 0U);
}

} // namespace
