#include "outlook/qdmailprotect/access/properties.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tests/support/log_capture.h"
#include "tool/system/conversions.h"
#include "tool/system/time_text.h"

#include <gtest/gtest.h>

namespace {

using test::scripted_store;
using test::stored_message;
using texts = std::vector<std::string>;

constexpr ULONG AnyLong = 0x66000003;
constexpr ULONG AnyText = 0x6601001E;
constexpr ULONG AnyWide = 0x6602001F;
constexpr ULONG AnyBytes = 0x66030102;
constexpr ULONG AnyTime = 0x66040040;
constexpr std::uint64_t SomeTime = 132'000'000'000'000'000; // in 2019

class property_access : public ::testing::Test
{
protected:
    void TearDown() override
    {
        message.reset();
        EXPECT_EQ(store.alive, 0);
    }
    IMAPIProp* object() { return message->pointer(); }

    test::log_capture log;
    scripted_store store;
    std::unique_ptr<stored_message> message = test::empty_message(store);
};

TEST_F(property_access, asks_for_unicode)
{
    std::uint32_t value = 0;
    message->set_number(AnyLong, 5);
    EXPECT_TRUE(GetPropLong(object(), AnyLong, value));
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(store.calls(), (texts{"message.GetProps 66000003 80000000"}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(property_access, of_no_object_fails)
{
    std::uint32_t value = 9;
    EXPECT_FALSE(GetPropLong(nullptr, AnyLong, value));
    EXPECT_EQ(value, 9U);
}

TEST_F(property_access, that_the_store_refuses_is_logged_with_its_result)
{
    std::uint32_t value = 9;
    SCODE error = 1;
    store.fail_nth(1, E_ACCESSDENIED, "message.GetProps");
    EXPECT_FALSE(GetPropLong(object(), AnyLong, value, &error));
    EXPECT_EQ(value, 9U);
    EXPECT_EQ(error, 1) << "a refused call is no error of the property";
    const std::vector<test::log_record> expected{{200, "outlook", "Failed to get prop 0x66000003, hr=0x80070005"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(property_access, shows_tags_without_leading_zeros)
{
    std::string value;
    EXPECT_FALSE(GetPropNarrowString(object(), PR_ENTRYID, value));
    const std::vector<test::log_record> expected{{200, "outlook", "Error getting prop 0xfff0102, err=0x8004010f"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(property_access, without_values_fails_silently)
{
    std::uint32_t value = 9;
    store.fail_nth(1, S_OK, "message.GetProps");
    EXPECT_FALSE(GetPropLong(object(), AnyLong, value));
    EXPECT_EQ(value, 9U);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(property_access, that_gives_another_property_fails_silently)
{
    std::uint32_t value = 9;
    store.answer(AnyLong, 0x67770003, 5);
    EXPECT_FALSE(GetPropLong(object(), AnyLong, value));
    EXPECT_EQ(value, 9U);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(property_access, does_not_compare_the_type)
{
    std::uint32_t value = 0;
    store.answer(AnyLong, 0x66000013, 5); // another type with the same identifier
    EXPECT_TRUE(GetPropLong(object(), AnyLong, value));
    EXPECT_EQ(value, 5U);
}

TEST_F(property_access, of_an_absent_long_gives_its_error_code)
{
    std::uint32_t value = 9;
    SCODE error = S_OK;
    EXPECT_FALSE(GetPropLong(object(), AnyLong, value, &error));
    EXPECT_EQ(value, 9U);
    EXPECT_EQ(error, MAPI_E_NOT_FOUND);
    const std::vector<test::log_record> expected{{200, "outlook", "Error getting prop 0x66000003, err=0x8004010f"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(property_access, narrow_text_is_copied)
{
    std::string value = "before";
    message->set_bytes(AnyText, "text");
    EXPECT_TRUE(GetPropNarrowString(object(), AnyText, value));
    EXPECT_EQ(value, "text");
    message->set_bytes(AnyText, "");
    EXPECT_TRUE(GetPropNarrowString(object(), AnyText, value));
    EXPECT_EQ(value, "");
}

TEST_F(property_access, bytes_become_two_upper_case_digits_each)
{
    std::string narrow;
    std::wstring wide;
    message->set_bytes(AnyBytes, std::string("\x00\xAB\x0F\xff", 4));
    EXPECT_TRUE(GetPropNarrowString(object(), AnyBytes, narrow));
    EXPECT_TRUE(GetPropWideString(object(), AnyBytes, wide));
    EXPECT_EQ(narrow, "00AB0FFF");
    EXPECT_EQ(wide, L"00AB0FFF");
}

TEST_F(property_access, no_bytes_are_no_text)
{
    std::string narrow = "before";
    std::wstring wide = L"before";
    message->set_bytes(AnyBytes, "");
    EXPECT_FALSE(GetPropNarrowString(object(), AnyBytes, narrow));
    EXPECT_FALSE(GetPropWideString(object(), AnyBytes, wide));
    EXPECT_EQ(narrow, "before");
    EXPECT_EQ(wide, L"before");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(property_access, a_time_is_local_date_blank_time)
{
    std::wstring date;
    std::wstring time;
    ASSERT_TRUE(winapi::format_local_time(SomeTime, date, time));
    std::string narrow;
    std::wstring wide;
    message->set(AnyTime, host::property_value::of_time(SomeTime));
    EXPECT_TRUE(GetPropWideString(object(), AnyTime, wide));
    EXPECT_EQ(wide, date + L" " + time);
    EXPECT_TRUE(GetPropNarrowString(object(), AnyTime, narrow));
    EXPECT_EQ(narrow, winapi::conv_to_char(date + L" " + time));
}

TEST_F(property_access, a_time_without_a_date_fails)
{
    std::string narrow = "before";
    std::wstring wide = L"before";
    message->set(AnyTime, host::property_value::of_time(0x8000000000000000));
    EXPECT_FALSE(GetPropNarrowString(object(), AnyTime, narrow));
    EXPECT_FALSE(GetPropWideString(object(), AnyTime, wide));
    EXPECT_EQ(narrow, "before");
    EXPECT_EQ(wide, L"before");
}

TEST_F(property_access, text_of_another_type_is_left_alone_and_true)
{
    std::string narrow = "before";
    std::wstring wide = L"before";
    message->set_text(AnyWide, L"wide");
    EXPECT_TRUE(GetPropNarrowString(object(), AnyWide, narrow)) << "no narrow text";
    EXPECT_EQ(narrow, "before");
    message->set_bytes(AnyText, "narrow");
    EXPECT_TRUE(GetPropWideString(object(), AnyText, wide)) << "no wide text";
    EXPECT_EQ(wide, L"before");
    message->set_number(AnyLong, 5);
    EXPECT_TRUE(GetPropWideString(object(), AnyLong, wide));
    EXPECT_EQ(wide, L"before");
}

TEST_F(property_access, wide_text_is_copied)
{
    std::wstring value;
    message->set_text(AnyWide, L"wide \x20AC");
    EXPECT_TRUE(GetPropWideString(object(), AnyWide, value));
    EXPECT_EQ(value, L"wide \x20AC");
}

TEST_F(property_access, failed_text_reads_tell_their_error)
{
    std::string narrow;
    std::wstring wide;
    SCODE error = S_OK;
    message->set_bytes(AnyText, std::string(20000, 'x')); // more than the store returns as a value
    EXPECT_FALSE(GetPropNarrowString(object(), AnyText, narrow, &error));
    EXPECT_EQ(error, MAPI_E_NOT_ENOUGH_MEMORY);
    error = S_OK;
    EXPECT_FALSE(GetPropWideString(object(), AnyWide, wide, &error));
    EXPECT_EQ(error, MAPI_E_NOT_FOUND);
}

TEST_F(property_access, writes_one_value_at_a_time)
{
    EXPECT_EQ(SetPropLong(object(), AnyLong, 0xFFFFFFFFU), S_OK);
    EXPECT_EQ(SetPropBool(object(), 0x6605000B, true), S_OK);
    EXPECT_EQ(SetPropWideString(object(), AnyWide, L"text"), S_OK);
    EXPECT_EQ(store.calls(), (texts{"message.SetProps 66000003=4294967295", "message.SetProps 6605000b=true",
                                    "message.SetProps 6602001f=text"}));
    EXPECT_EQ(message->value(AnyLong), "-1") << "the store has signed numbers";
    EXPECT_EQ(message->value(0x6605000B), "1");
    EXPECT_EQ(message->value(AnyWide), "text");
    EXPECT_EQ(SetPropBool(object(), 0x6605000B, false), S_OK);
    EXPECT_EQ(message->value(0x6605000B), "0");
    EXPECT_EQ(DeleteProp(object(), AnyWide), S_OK);
    EXPECT_EQ(message->value(AnyWide), std::nullopt);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(property_access, writes_give_the_stores_result_and_log_nothing)
{
    store.fail("message.SetProps", E_ACCESSDENIED);
    store.fail("message.DeleteProps", MAPI_E_NO_SUPPORT);
    EXPECT_EQ(SetPropLong(object(), AnyLong, 1), E_ACCESSDENIED);
    EXPECT_EQ(SetPropBool(object(), AnyLong, true), E_ACCESSDENIED);
    EXPECT_EQ(SetPropWideString(object(), AnyWide, L"x"), E_ACCESSDENIED);
    EXPECT_EQ(DeleteProp(object(), AnyWide), MAPI_E_NO_SUPPORT);
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
