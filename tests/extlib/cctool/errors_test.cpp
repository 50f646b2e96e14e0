#include "cctool/serialization/errors.h"
#include "tests/extlib/cctool/blob_bytes.h"
#include "tests/support/failing_new.h"
#include "tool/system/conversions.h"

#include <gmock/gmock.h>

#include <type_traits>

namespace cctool::Serialization::test {
namespace {

using testing::StrEq;

constexpr ErrorSource here{"folder\\file", 321, 0xAB, 0x1F};

TEST(Error, WithoutContextSaysSo)
{
    const Error error;
    EXPECT_THAT(error.what(), StrEq("Unspecified error without context."));
    EXPECT_EQ("Unspecified error without context.", error.FullText());
    EXPECT_EQ("B", error.CompactText());
    EXPECT_EQ(nullptr, error.Context());
}

TEST(Error, TellsNamePlaceNumbersAndDescription)
{
    EXPECT_THAT(Error("SomeError", "it broke", here).what(),
                StrEq("SomeError occured at folder\\file(321). Subsystem: 0xab. Code: 0x1f. Description: it broke."));
    EXPECT_THAT(Error("SomeError", "", here).what(),
                StrEq("SomeError occured at folder\\file(321). Subsystem: 0xab. Code: 0x1f."));
    EXPECT_THAT(Error(nullptr, "", {"f", 1}).what(), StrEq("Error occured at f(1). Subsystem: 0x0. Code: 0x0."));
}

TEST(Error, TellsTheWrappedErrorsOnLinesOfTheirOwn)
{
    const Error inner(nullptr, "innermost", {"a", 1, 1, 2});
    const Error middle("Middle", "", {"b", 2, 3, 4}, &inner);
    const Error outer("Outer", "", {"c", 3, 0x50, 0x60}, &middle);
    EXPECT_EQ("Outer occured at c(3). Subsystem: 0x50. Code: 0x60."
              "\n\tMiddle occured at b(2). Subsystem: 0x3. Code: 0x4."
              "\n\tError occured at a(1). Subsystem: 0x1. Code: 0x2. Description: innermost.",
              outer.FullText());
    EXPECT_THAT(outer.what(), StrEq("Outer occured at c(3). Subsystem: 0x50. Code: 0x60."));
    EXPECT_EQ("B50X60X3X4X1X2X", outer.CompactText());
}

TEST(Error, WrappingAnErrorWithoutContextAddsNothing)
{
    const Error bare;
    EXPECT_EQ("Outer occured at c(3). Subsystem: 0x0. Code: 0x0.", Error("Outer", "", {"c", 3}, &bare).FullText());
}

TEST(Error, SharesItsContextWithCopiesAndWrappers)
{
    const Error error("SomeError", "text", here);
    EXPECT_EQ(1U, error.Context()->references);
    {
        const Error copy = error; // NOLINT(performance-unnecessary-copy-initialization): the copy is the point
        EXPECT_EQ(error.Context(), copy.Context());
        const Error wrapper("Outer", "", here, &error);
        EXPECT_EQ(error.Context(), wrapper.Context()->next);
        EXPECT_EQ(3U, error.Context()->references);
    }
    EXPECT_EQ(1U, error.Context()->references);
    static_assert(std::is_nothrow_copy_constructible_v<Error>);
    static_assert(std::is_nothrow_copy_constructible_v<ContainerElementAccessError>);
}

TEST(Error, KeepsTheTextThatItBuilt)
{
    const Error error("SomeError", "text", here);
    const char* const first = error.what();
    EXPECT_EQ(first, error.what());
    const Error copy = error; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(first, copy.what());
}

TEST(Error, GivesItsNameWhenMemoryForTheTextIsShort)
{
    const Error error("SomeError", std::string(100, 'x'), here);
    const char* text = nullptr;
    {
        const ::test::failing_new failure(1, ::test::refusals::all_behind);
        text = error.what();
    }
    EXPECT_THAT(text, StrEq("SomeError"));
    EXPECT_THAT(error.what(), testing::StartsWith("SomeError occured at ")) << "a later use builds the text";
}

TEST(InvalidDataError, HasNeitherNameNorDescription)
{
    EXPECT_THAT(InvalidDataError({"f", 7}).what(), StrEq("Error occured at f(7). Subsystem: 0x0. Code: 0x0."));
}

TEST(IncompatibleVersionError, HasNeitherNameNorDescription)
{
    EXPECT_THAT(IncompatibleVersionError({"f", 7}).what(), StrEq("Error occured at f(7). Subsystem: 0x0. Code: 0x0."));
    static_assert(!std::is_base_of_v<InvalidDataError, IncompatibleVersionError>);
    static_assert(std::is_base_of_v<Error, IncompatibleVersionError>);
}

TEST(ArrayElementAccessError, TellsIndexAndReason)
{
    const auto description = [](AccessFailure reason) {
        return ArrayElementAccessError(12, reason, here).Context()->description;
    };
    EXPECT_EQ("array element not found, index=12", description(AccessFailure::NotFound));
    EXPECT_EQ("array element has invalid type, index=12", description(AccessFailure::InvalidType));
    EXPECT_EQ("array element contains invalid data, index=12", description(AccessFailure::InvalidData));
    const ArrayElementAccessError error(12, AccessFailure::InvalidType, here);
    EXPECT_STREQ("ArrayElementAccessError", error.Context()->name);
    EXPECT_EQ(12U, error.Index());
    EXPECT_EQ(AccessFailure::InvalidType, error.Reason());
    static_assert(std::is_base_of_v<InvalidDataError, ArrayElementAccessError>);
}

TEST(ContainerElementAccessError, TellsNumberNameAndReason)
{
    const auto description = [](AccessFailure reason) {
        return ContainerElementAccessError({77, L"Uri"}, reason, here).Context()->description;
    };
    EXPECT_EQ("container element not found, tag-id=77, tag-name=Uri", description(AccessFailure::NotFound));
    EXPECT_EQ("container element has invalid type, tag-id=77, tag-name=Uri", description(AccessFailure::InvalidType));
    EXPECT_EQ("container element contains invalid data, tag-id=77, tag-name=Uri",
              description(AccessFailure::InvalidData));
    const ContainerElementAccessError error({77, L"Uri"}, AccessFailure::NotFound, here);
    EXPECT_STREQ("ContainerElementAccessError", error.Context()->name);
    EXPECT_EQ(77U, error.Tag().id);
    EXPECT_STREQ(L"Uri", error.Tag().name);
    EXPECT_EQ(AccessFailure::NotFound, error.Reason());
    static_assert(std::is_base_of_v<InvalidDataError, ContainerElementAccessError>);
}

TEST(ContainerElementAccessError, TakesATagWithoutName)
{
    const ContainerElementAccessError error({5, nullptr}, AccessFailure::NotFound, here);
    EXPECT_EQ("container element not found, tag-id=5, tag-name=", error.Context()->description);
}

TEST(ContainerElementAccessError, RaisesAnotherErrorWhenTheNameCannotBeNarrowed)
{
    constexpr std::uint32_t no_such_code_page = 60000;
    winapi::ansi_code_page(no_such_code_page);
    std::string text;
    try {
        throw ContainerElementAccessError({5, L"Name"}, AccessFailure::NotFound, here);
    } catch (const ContainerElementAccessError&) {
        text = "the name was narrowed";
    } catch (const std::runtime_error& error) {
        text = error.what();
    }
    winapi::ansi_code_page(0);
    EXPECT_EQ("conv_to_char called WideCharToMultiByte() and failed.", text);
}

TEST(AccessReasons, AreNumbered)
{
    EXPECT_EQ(1U, static_cast<std::uint32_t>(AccessFailure::NotFound));
    EXPECT_EQ(2U, static_cast<std::uint32_t>(AccessFailure::InvalidType));
    EXPECT_EQ(3U, static_cast<std::uint32_t>(AccessFailure::InvalidData));
}

TEST(AccessErrors, NameTheFileThatRaisedThem)
{
    try {
        bool value = false;
        CreateEmptyContainer()->Get({2, L"Two"}, value);
        FAIL();
    } catch (const ContainerElementAccessError& error) {
        EXPECT_EQ("ContainerElementAccessError occured at extlib\\cctool\\src\\serialization\\container_impl(" +
                      std::to_string(error.Context()->line) +
                      "). Subsystem: 0x0. Code: 0x0. Description: container element not found, tag-id=2, tag-name=Two.",
                  error.what());
        EXPECT_GT(error.Context()->line, 0U);
    }
}

} // namespace
} // namespace cctool::Serialization::test
