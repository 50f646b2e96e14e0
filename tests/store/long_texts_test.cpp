#include "store/property_bag.h"
#include "tests/store/store_fixture.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <string>
#include <variant>

namespace host::test {
namespace {

/// A letter, and then surrogate pairs, so that every place at which the text could be cut is within a pair.
std::wstring long_text(std::size_t pairs)
{
    std::string units("a\0", 2);
    for (std::size_t i = 0; i < pairs; ++i) {
        units.append("\x3D\xD8\x00\xDE", 4);
    }
    return from_utf16le(units);
}

bool is_in_memory(const property_value& value)
{
    return std::holds_alternative<property_value::text>(value.data);
}

TEST(LongTexts, AreTheirUtf16)
{
    const std::wstring text = long_text(100'000);
    const auto value = property_value::of_text(text);
    EXPECT_FALSE(is_in_memory(value));
    EXPECT_TRUE(text == value.wide());
    EXPECT_EQ(400'004U, value.size());
    EXPECT_TRUE(to_utf16le(text) == to_string(*stream_bytes(value)));
    EXPECT_EQ(PT_UNICODE, value.type);
}

TEST(LongTexts, AreInMemoryUpToALimitHoweverTheyWereMade)
{
    for (const std::size_t over : {0U, 1U}) {
        const std::wstring text(property_value::longest_text + over, L'x');
        const auto of_text = property_value::of_text(text);
        const auto of_stream = from_stream_bytes(PT_UNICODE, bytes_of(to_utf16le(text)));
        text_builder builder;
        builder.append(std::wstring_view(text).substr(0, 1000));
        builder.append(std::wstring_view(text).substr(1000));
        const auto built = builder.value();
        for (const property_value* value : {&of_text, &of_stream, &built}) {
            EXPECT_EQ(over == 0, is_in_memory(*value));
            EXPECT_TRUE(text == value->wide());
        }
        EXPECT_TRUE(same_value(of_text, of_stream));
        EXPECT_TRUE(same_value(of_text, built));
    }
}

TEST(LongTexts, DropAnOddByteAtTheEnd)
{
    const std::string whole = to_utf16le(std::wstring(100'000, L'x'));
    const auto value = from_stream_bytes(PT_UNICODE, bytes_of(whole + 'y'));
    EXPECT_TRUE(whole == to_string(*stream_bytes(value)));
}

TEST(LongTexts, ArePairsOfSurrogatesInUtf8Too)
{
    const std::wstring text = long_text(100'000);
    const std::string narrow = winapi::conv_to_char(text, winapi::code_page_utf8);
    EXPECT_TRUE(narrow == to_string(*property_value::of_text(text).narrow(winapi::code_page_utf8)));
    EXPECT_EQ(1U + 4U * 100'000U, narrow.size());
}

TEST(LongTexts, AreConvertedToTheOtherStringTypeAndBack)
{
    const std::wstring text(200'000, L'\u00E4');
    const auto narrow = convert_string(property_value::of_text(text), PT_STRING8, 1252);
    EXPECT_EQ(200'001U, narrow.size());
    EXPECT_TRUE(std::string(200'000, '\xE4') == to_string(*stream_bytes(narrow)));
    const auto wide = convert_string(narrow, PT_UNICODE);
    EXPECT_FALSE(is_in_memory(wide));
    EXPECT_TRUE(text == wide.wide());
}

using LongTextsOfAMessage = StoreTest;

TEST_F(LongTextsOfAMessage, AreReadThroughStreamsOfBothTypes)
{
    const std::wstring text(200'000, L'x');
    stored->properties->set(PR_BODY_W, property_value::of_text(text));
    const auto message = open();
    EXPECT_TRUE(std::string(200'000, 'x') == stream_text(message.get(), PR_BODY_A));
    EXPECT_TRUE(to_utf16le(text) == stream_text(message.get(), PR_BODY_W));
}

TEST_F(LongTextsOfAMessage, AreWrittenThroughAStream)
{
    const std::wstring text(200'000, L'x');
    property_bag bag;
    auto state = std::make_shared<stream_state>(bytes_of({}), PT_UNICODE);
    const std::string units = to_utf16le(text);
    state->write(0, units.data(), units.size());
    bag.follow(PROP_ID(PR_BODY_W), state);
    EXPECT_TRUE(text == bag.find(PROP_ID(PR_BODY_W))->wide());
    EXPECT_TRUE(same_value(property_value::of_text(text), *bag.find(PROP_ID(PR_BODY_W))));
}

TEST_F(LongTextsOfAMessage, AreValuesUpToTheLimitOfTheStore)
{
    stored->store->rules.large_value = 1'000'000;
    stored->properties->set(PR_SUBJECT_W, property_value::of_text(std::wstring(100'000, L'x')));
    const auto got = get_props(open().get(), {PR_SUBJECT_W});
    ASSERT_EQ(S_OK, got.result);
    EXPECT_TRUE(std::wstring(100'000, L'x') == got[0].Value.lpszW);
}

TEST(PropertyBags, AreOrderedByIdentifierAndReplaceValues)
{
    property_bag bag;
    for (const std::uint32_t id : {7U, 3U, 9U, 3U, 1U}) {
        bag.set(PROP_TAG(PT_LONG, id), property_value::of_long(id * 10));
    }
    EXPECT_EQ((std::vector<std::uint32_t>{PROP_TAG(PT_LONG, 1U), PROP_TAG(PT_LONG, 3U), PROP_TAG(PT_LONG, 7U),
                                          PROP_TAG(PT_LONG, 9U)}),
              bag.tags());
    bag.set(PROP_TAG(PT_BOOLEAN, 3U), property_value::of_bool(true));
    EXPECT_EQ(PT_BOOLEAN, bag.find(3)->type);
    EXPECT_TRUE(bag.erase(3));
    EXPECT_FALSE(bag.erase(3));
    EXPECT_FALSE(bag.erase(100));
    EXPECT_EQ(nullptr, bag.find(3));
    EXPECT_EQ(90, bag.find(9)->number());
    EXPECT_EQ(nullptr, bag.find(8));
}

} // namespace
} // namespace host::test
