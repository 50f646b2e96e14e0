#include "tool/system/errors.h"
#include "tool/system/registry.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

namespace {

constexpr const wchar_t* key = L"SOFTWARE\\PostwardenTestOfTheRegistry";

/// A real key below HKEY_LOCAL_MACHINE for one test.
class real_key : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(
            ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, handle_.put(), nullptr),
            ERROR_SUCCESS);
    }
    void TearDown() override
    {
        handle_.reset();
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
    }
    void set(const wchar_t* name, DWORD type, const void* bytes, std::size_t size)
    {
        ASSERT_EQ(
            ::RegSetValueExW(handle_.get(), name, 0, type, static_cast<const BYTE*>(bytes), static_cast<DWORD>(size)),
            ERROR_SUCCESS);
    }
    void set_text(const wchar_t* name, const std::wstring& text)
    {
        set(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }

private:
    winapi::registry_handle handle_;
};

TEST_F(real_key, is_found_and_read)
{
    const DWORD number = 0x89ABCDEF;
    set(L"Number", REG_DWORD, &number, sizeof(number));
    set_text(L"Text", L"level=400; stderr");
    const auto& machine = winapi::local_machine();
    EXPECT_TRUE(machine.has_key(key));
    EXPECT_EQ(machine.number_value(key, L"Number"), 0x89ABCDEFU);
    EXPECT_EQ(machine.number_value(key, L"Absent"), std::nullopt);
    EXPECT_EQ(machine.string_value(key, L"Text"), L"level=400; stderr");
    EXPECT_EQ(machine.string_value(key, L"Absent"), std::nullopt);
}

TEST_F(real_key, gives_texts_of_any_length)
{
    for (const std::size_t length : {0U, 1U, 254U, 255U, 256U, 257U, 5000U}) {
        const std::wstring text(length, L'x');
        set_text(L"Text", text);
        EXPECT_EQ(winapi::local_machine().string_value(key, L"Text"), text) << length;
    }
}

TEST_F(real_key, raises_for_what_does_not_fit)
{
    const unsigned char bytes[5] = {1, 2, 3, 4, 5};
    set(L"Long", REG_BINARY, bytes, sizeof(bytes));
    set(L"Short", REG_BINARY, bytes, 2);
    EXPECT_EQ(winapi::local_machine().number_value(key, L"Short"), 0x0201U);
    try {
        (void)winapi::local_machine().number_value(key, L"Long");
        ADD_FAILURE() << "no exception";
    } catch (const error::win32exception& failure) {
        EXPECT_EQ(failure.code(), 234U);
    }
    try {
        (void)winapi::local_machine().string_value(key, L"Long");
        ADD_FAILURE() << "no exception";
    } catch (const error::win32exception& failure) {
        EXPECT_EQ(failure.code(), 13U);
    }
}

} // namespace
