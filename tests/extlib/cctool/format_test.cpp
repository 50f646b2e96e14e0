#include "cctool/serialization/container.h"
#include "cctool/serialization/errors.h"
#include "extlib/cctool/src/serialization/value.h"
#include "tests/extlib/cctool/blob_bytes.h"

#include <gmock/gmock.h>

#include <functional>

namespace cctool::Serialization::test {
namespace {

/// Returns the blob of a container with one entry, tag 2.
Bytes OneEntry(const std::function<void(IContainer&)>& set)
{
    const auto tree = CreateEmptyContainer();
    set(*tree);
    return BlobOf(*tree);
}

/// Returns the bytes ahead of an entry of tag 2 in such a blob, then the given type code and value.
Bytes Entry(std::string_view type_and_value)
{
    return FromHex(std::string("0000000000000001 00000002 ") + std::string(type_and_value));
}

TEST(Blob, OfAnEmptyContainerIsEightZeroBytes)
{
    EXPECT_EQ(Bytes(8), BlobOf(*CreateEmptyContainer()));
    EXPECT_EQ(Bytes(8), BlobOf(*Parse(Bytes(8))));
}

TEST(Blob, OfOneIntegerIsAsWritten)
{
    EXPECT_EQ(FromHex("00 00 00 00 00 00 00 01  00 00 00 02  00 00 00 05  00 00 00 01"),
              OneEntry([](IContainer& tree) { tree.Set(2, std::int32_t{1}); }));
}

TEST(Blob, HoldsEachTypeInItsEncoding)
{
    using C = IContainer;
    EXPECT_EQ(Entry("00000001 fe"), OneEntry([](C& tree) { tree.Set(2, std::int8_t{-2}); }));
    EXPECT_EQ(Entry("00000002 fe"), OneEntry([](C& tree) { tree.Set(2, std::uint8_t{254}); }));
    EXPECT_EQ(Entry("00000003 fedc"), OneEntry([](C& tree) { tree.Set(2, std::int16_t{-292}); }));
    EXPECT_EQ(Entry("00000004 0123"), OneEntry([](C& tree) { tree.Set(2, std::uint16_t{0x123}); }));
    EXPECT_EQ(Entry("00000005 fffffffe"), OneEntry([](C& tree) { tree.Set(2, std::int32_t{-2}); }));
    EXPECT_EQ(Entry("00000006 12345678"), OneEntry([](C& tree) { tree.Set(2, std::uint32_t{0x12345678}); }));
    EXPECT_EQ(Entry("00000007 fffffffffffffffe"), OneEntry([](C& tree) { tree.Set(2, std::int64_t{-2}); }));
    EXPECT_EQ(Entry("00000008 0123456789abcdef"),
              OneEntry([](C& tree) { tree.Set(2, std::uint64_t{0x0123456789ABCDEF}); }));
    EXPECT_EQ(Entry("00000009 0000000000000003 61ff62"),
              OneEntry([](C& tree) { tree.Set(2, std::string("a\xFF") + 'b'); }));
    EXPECT_EQ(Entry("0000000a 0000000000000002 0061 263a"),
              OneEntry([](C& tree) { tree.Set(2, std::wstring(L"a\x263A")); }));
    EXPECT_EQ(Entry("0000000b 01"), OneEntry([](C& tree) { tree.Set(2, true); }));
    EXPECT_EQ(Entry("0000000b 00"), OneEntry([](C& tree) { tree.Set(2, false); }));
    EXPECT_EQ(Entry("0000000c 0000000000000002 00ff"), OneEntry([](C& tree) { tree.SetBinary(2, {0, 255}); }));
    EXPECT_EQ(Entry("0000000d 0000000000000002 0000000b 01 00000004 0007"), OneEntry([](C& tree) {
                  const auto array = tree.AddArray(2, 2);
                  array->Set(0, true);
                  array->Set(1, std::uint16_t{7});
              }));
    EXPECT_EQ(Entry("0000000e 0000000000000001 00000009 0000000b 01"),
              OneEntry([](C& tree) { tree.AddContainer(2)->Set(9, true); }));
}

TEST(Blob, HoldsTheVersionAsItsConventionSays)
{
    EXPECT_EQ(FromHex("0000000000000001 0000ff00 0000000d 0000000000000002 00000004 0001 00000004 0009"),
              OneEntry([](IContainer& tree) {
                  tree.SetVersion(version_info_tag, {1, 9});
              }));
}

TEST(Blob, ReadsAnyNonZeroByteAsTrueAndWritesOne)
{
    const auto tree = Parse(Entry("0000000b 80"));
    bool value = false;
    tree->Get({2, nullptr}, value);
    EXPECT_TRUE(value);
    EXPECT_EQ(Entry("0000000b 01"), BlobOf(*tree));
}

TEST(Blob, ComesBackAsEqualBytes)
{
    const Bytes blob = BlobOf(*RichTree());
    EXPECT_EQ(blob, BlobOf(*Parse(blob)));
}

TEST(Blob, HasItsEntriesInAscendingOrderHoweverTheyWereSet)
{
    const auto tree = CreateEmptyContainer();
    for (const std::uint32_t id : {0xFFFFFFFFU, 5U, 0U, 70000U, 6U}) {
        tree->Set(id, true);
    }
    EXPECT_EQ(FromHex("0000000000000005 00000000 0000000b 01 00000005 0000000b 01 00000006 0000000b 01 "
                      "00011170 0000000b 01 ffffffff 0000000b 01"),
              BlobOf(*tree));
    EXPECT_EQ(FromHex("0000000000000002 00000001 00000002 0a 00000007 00000002 0b"),
              BlobOf(*Parse(FromHex("0000000000000002 00000007 00000002 0b 00000001 00000002 0a"))));
}

TEST(Blob, TakesTheLastOfARepeatedTag)
{
    const auto tree = Parse(FromHex("0000000000000003 00000001 0000000d 0000000000000000 00000002 00000002 01 "
                                    "00000001 00000002 0a"));
    EXPECT_EQ(FromHex("0000000000000002 00000001 00000002 0a 00000002 00000002 01"), BlobOf(*tree));
    const auto ascending = Parse(FromHex("0000000000000004 00000001 00000002 0a 00000001 00000002 0b "
                                         "00000001 00000002 0c 00000002 00000002 01"));
    EXPECT_EQ(FromHex("0000000000000002 00000001 00000002 0c 00000002 00000002 01"), BlobOf(*ascending));
}

TEST(Blob, IgnoresWhatStandsBehindTheContainer)
{
    Bytes blob = BlobOf(*RichTree());
    const Bytes clean = blob;
    blob.insert(blob.end(), {0xDE, 0xAD, 0xBE, 0xEF});
    EXPECT_EQ(clean, BlobOf(*Parse(blob)));
}

TEST(Blob, IsAppendedWithTheExactCapacity)
{
    const auto tree = RichTree();
    const Bytes alone = BlobOf(*tree);
    Bytes bytes{1, 2, 3};
    bytes.shrink_to_fit();
    ASSERT_TRUE(tree->GetBlob(bytes, true));
    Bytes expected{1, 2, 3};
    expected.insert(expected.end(), alone.begin(), alone.end());
    EXPECT_EQ(expected, bytes);
    EXPECT_EQ(expected.size(), bytes.capacity());
}

TEST(Blob, ReplacesWhatStoodThere)
{
    Bytes bytes(1000, 7);
    ASSERT_TRUE(CreateEmptyContainer()->GetBlob(bytes, false));
    EXPECT_EQ(Bytes(8), bytes);
}

TEST(Blob, IsRefusedForAnEmptySlotAndChangesNothing)
{
    const auto tree = CreateEmptyContainer();
    tree->Set(1, true);
    const auto array = tree->AddArray(2, 3);
    array->Set(0, true);
    array->Set(2, true);
    Bytes bytes{1, 2, 3};
    EXPECT_FALSE(tree->GetBlob(bytes, false));
    EXPECT_EQ((Bytes{1, 2, 3}), bytes);
    EXPECT_FALSE(tree->GetBlob(bytes, true));
    EXPECT_EQ((Bytes{1, 2, 3}), bytes);
    array->AddArray(1, 1);
    EXPECT_FALSE(tree->GetBlob(bytes, false)) << "a slot of the array within";
    array->GetArray(1)->Set(0, std::int64_t{});
    EXPECT_TRUE(tree->GetBlob(bytes, false));
}

TEST(WideText, TravelsInSixteenBitUnits)
{
    // A code point of more than 16 bits is two units; an unpaired surrogate is one.
    const Bytes beyond = Entry("0000000a 0000000000000003 d83d de00 0021");
    const auto tree = Parse(beyond);
    std::wstring text;
    tree->Get({2, nullptr}, text);
    EXPECT_EQ(L"\U0001F600!", text);
    EXPECT_EQ(beyond, BlobOf(*tree));
    EXPECT_EQ(beyond, OneEntry([&](IContainer& made) { made.Set(2, text); }));

    const Bytes alone = Entry("0000000a 0000000000000004 de00 d83d 0000 d83d");
    const auto odd = Parse(alone);
    odd->Get({2, nullptr}, text);
    EXPECT_EQ(4U, text.size());
    EXPECT_EQ(alone, OneEntry([&](IContainer& made) { made.Set(2, text); }));
}

TEST(TypeCodes, AreFourteen)
{
    using namespace StlDTree::detail;
    for (std::uint32_t code = 1; code <= 14; ++code) {
        const ValuePtr value = CreateValue(static_cast<TypeCode>(code));
        ASSERT_NE(nullptr, value) << code;
        EXPECT_EQ(code, static_cast<std::uint32_t>(value->Type()));
    }
    for (const std::uint32_t code : {0U, 15U, 0x80000001U, 0xFFFFFFFFU}) {
        EXPECT_EQ(nullptr, CreateValue(static_cast<TypeCode>(code))) << code;
    }
}

TEST(Values, HaveTheSizesOfTheirEncodings)
{
    using namespace StlDTree::detail;
    const std::vector<std::size_t> sizes{1, 1, 2, 2, 4, 4, 8, 8, 8, 8, 1, 8, 8, 8};
    for (std::uint32_t code = 1; code <= 14; ++code) {
        EXPECT_EQ(sizes[code - 1], CreateValue(static_cast<TypeCode>(code))->SerializedSize()) << code;
    }
}

TEST(Values, KeepWhatTheyHoldWhenTheBytesAreWrong)
{
    using namespace StlDTree::detail;
    for (std::uint32_t code = 1; code <= 14; ++code) {
        const ValuePtr value = CreateValue(static_cast<TypeCode>(code));
        // A length or count of 1 where the type has one, and the counted contents; integers take its first bytes.
        const Bytes good =
            code == 13 ? FromHex("0000000000000001 00000001 55") : FromHex("0000000000000001 00000001 00000001 55");
        Reader reader(good.data(), good.size());
        ASSERT_TRUE(value->Deserialize(reader)) << code;
        Bytes before(value->SerializedSize());
        Writer writer(before.data(), before.size());
        ASSERT_TRUE(value->Serialize(writer));
        const Bytes bad = code <= 8 || code == 11 ? Bytes{} : FromHex("0000000000000001");
        Reader bad_reader(bad.data(), bad.size());
        EXPECT_FALSE(value->Deserialize(bad_reader)) << code;
        Bytes after(value->SerializedSize());
        Writer again(after.data(), after.size());
        ASSERT_TRUE(value->Serialize(again));
        EXPECT_EQ(before, after) << code;
    }
}

TEST(Values, OfEachTypeRefuseAWriterWithTooLittleRoom)
{
    using namespace StlDTree::detail;
    for (std::uint32_t code = 1; code <= 14; ++code) {
        const ValuePtr value = CreateValue(static_cast<TypeCode>(code));
        const Bytes contents =
            code == 13 ? FromHex("0000000000000001 00000001 55") : FromHex("0000000000000001 00000001 00000001 55");
        Reader reader(contents.data(), contents.size());
        ASSERT_TRUE(value->Deserialize(reader)) << code;
        for (std::size_t room = 0; room <= value->SerializedSize(); ++room) {
            Bytes written(room);
            Writer writer(written.data(), room);
            EXPECT_EQ(room == value->SerializedSize(), value->Serialize(writer)) << code << " in " << room;
        }
    }
}

TEST(Values, RefuseAWriterWithTooLittleRoom)
{
    using namespace StlDTree::detail;
    const Bytes blob = BlobOf(*RichTree());
    Reader reader(blob.data(), blob.size());
    const ValuePtr tree = CreateValue(TypeCode::Container);
    ASSERT_TRUE(tree->Deserialize(reader));
    ASSERT_EQ(blob.size(), tree->SerializedSize());
    for (std::size_t room = 0; room <= blob.size(); ++room) {
        Bytes written(room);
        Writer writer(written.data(), room);
        ASSERT_EQ(room == blob.size(), tree->Serialize(writer)) << room;
    }
}

} // namespace
} // namespace cctool::Serialization::test
