#include "tool/system/errors.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

namespace {

constexpr std::wstring_view key = L"SOFTWARE\\Maker\\Product";

std::uint32_t code_raised_by_number(const winapi::registry& registry, std::wstring_view name)
{
    try {
        (void)registry.number_value(key, name);
    } catch (const error::win32exception& failure) {
        return failure.code();
    }
    return 0;
}

TEST(memory_registry, has_no_key_and_no_value_at_the_start)
{
    const winapi::memory_registry registry;
    EXPECT_FALSE(registry.has_key(key));
    EXPECT_EQ(registry.string_value(key, L"Name"), std::nullopt);
    EXPECT_EQ(registry.number_value(key, L"Name"), std::nullopt);
}

TEST(memory_registry, gives_back_what_was_set)
{
    winapi::memory_registry registry;
    registry.set_string(key, L"Text", L"value");
    registry.set_number(key, L"Number", 0x12345678);
    EXPECT_TRUE(registry.has_key(key));
    EXPECT_EQ(registry.string_value(key, L"Text"), L"value");
    EXPECT_EQ(registry.number_value(key, L"Number"), 0x12345678U);
}

TEST(memory_registry, tells_a_key_without_values_from_no_key)
{
    winapi::memory_registry registry;
    registry.make_key(key);
    EXPECT_TRUE(registry.has_key(key));
    EXPECT_EQ(registry.number_value(key, L"Number"), std::nullopt);
}

TEST(memory_registry, looks_at_keys_and_names_without_regard_to_case)
{
    winapi::memory_registry registry;
    registry.set_number(L"Software\\MAKER\\product", L"number", 7);
    EXPECT_TRUE(registry.has_key(key));
    EXPECT_EQ(registry.number_value(key, L"NUMBER"), 7U);
}

TEST(memory_registry, replaces_and_removes_values)
{
    winapi::memory_registry registry;
    registry.set_number(key, L"Number", 1);
    registry.set_number(key, L"Number", 2);
    EXPECT_EQ(registry.number_value(key, L"Number"), 2U);
    registry.remove_value(key, L"Number");
    EXPECT_EQ(registry.number_value(key, L"Number"), std::nullopt);
    EXPECT_TRUE(registry.has_key(key));
    registry.clear();
    EXPECT_FALSE(registry.has_key(key));
}

TEST(memory_registry, reads_a_short_value_as_a_number)
{
    winapi::memory_registry registry;
    registry.set_bytes(key, L"Two", {0x34, 0x12});
    registry.set_bytes(key, L"None", {});
    EXPECT_EQ(registry.number_value(key, L"Two"), 0x1234U);
    EXPECT_EQ(registry.number_value(key, L"None"), 0U);
}

TEST(memory_registry, raises_for_a_number_longer_than_four_bytes)
{
    winapi::memory_registry registry;
    registry.set_bytes(key, L"Long", {1, 2, 3, 4, 5});
    registry.set_string(key, L"Text", L"12");
    registry.set_string(key, L"Short", L"1");
    EXPECT_EQ(code_raised_by_number(registry, L"Long"), 234U);
    EXPECT_EQ(code_raised_by_number(registry, L"Text"), 234U);
    EXPECT_EQ(registry.number_value(key, L"Short"), std::uint32_t{L'1'}) << "two 16-bit units fit";
}

TEST(memory_registry, raises_for_a_text_that_is_none)
{
    winapi::memory_registry registry;
    registry.set_number(key, L"Number", 1);
    try {
        (void)registry.string_value(key, L"Number");
        FAIL() << "no exception";
    } catch (const error::win32exception& failure) {
        EXPECT_EQ(failure.code(), 13U);
    }
}

TEST(local_machine, answers_from_an_override_while_that_lives)
{
    winapi::memory_registry outer;
    winapi::memory_registry inner;
    outer.set_number(key, L"Number", 1);
    inner.set_number(key, L"Number", 2);
    {
        const winapi::registry_override first(outer);
        EXPECT_EQ(winapi::local_machine().number_value(key, L"Number"), 1U);
        {
            const winapi::registry_override second(inner);
            EXPECT_EQ(winapi::local_machine().number_value(key, L"Number"), 2U);
        }
        EXPECT_EQ(winapi::local_machine().number_value(key, L"Number"), 1U);
    }
    EXPECT_FALSE(winapi::local_machine().has_key(key)) << "the platform's registry knows no such product";
}

TEST(local_machine, has_nothing_under_a_key_that_is_not_there)
{
    EXPECT_FALSE(winapi::local_machine().has_key(L"SOFTWARE\\No such maker\\Nothing"));
    EXPECT_EQ(winapi::local_machine().string_value(L"SOFTWARE\\No such maker\\Nothing", L"Name"), std::nullopt);
    EXPECT_EQ(winapi::local_machine().number_value(L"SOFTWARE\\No such maker\\Nothing", L"Name"), std::nullopt);
}

} // namespace
