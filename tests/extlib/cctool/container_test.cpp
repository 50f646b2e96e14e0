#include "cctool/serialization/container.h"
#include "cctool/serialization/errors.h"
#include "tests/extlib/cctool/blob_bytes.h"

#include <gmock/gmock.h>

#include <functional>

namespace cctool::Serialization::test {
namespace {

/// Returns the reason with which a getter refuses.
AccessFailure ReasonOf(const std::function<void()>& get)
{
    try {
        get();
    } catch (const ContainerElementAccessError& error) {
        return error.Reason();
    } catch (const ArrayElementAccessError& error) {
        return error.Reason();
    }
    return AccessFailure{};
}

template <typename T, typename Tree, typename Key>
T Got(const Tree& tree, Key key)
{
    T value{};
    tree.Get(key, value);
    return value;
}

constexpr TagId tag(std::uint32_t id)
{
    return {id, L"name"};
}

TEST(Container, GivesBackWhatWasSet)
{
    const auto tree = RichTree();
    EXPECT_EQ(-1, Got<std::int8_t>(*tree, tag(1)));
    EXPECT_EQ(200, Got<std::uint8_t>(*tree, tag(2)));
    EXPECT_EQ(-300, Got<std::int16_t>(*tree, tag(3)));
    EXPECT_EQ(60000, Got<std::uint16_t>(*tree, tag(4)));
    EXPECT_EQ(-70000, Got<std::int32_t>(*tree, tag(5)));
    EXPECT_EQ(4000000000U, Got<std::uint32_t>(*tree, tag(6)));
    EXPECT_EQ(-5000000000, Got<std::int64_t>(*tree, tag(7)));
    EXPECT_EQ(10000000000000000000U, Got<std::uint64_t>(*tree, tag(8)));
    EXPECT_EQ("narrow", Got<std::string>(*tree, tag(9)));
    EXPECT_EQ(L"wide \x263A", Got<std::wstring>(*tree, tag(10)));
    EXPECT_TRUE(Got<bool>(*tree, tag(11)));
    Bytes binary;
    tree->GetBinary(tag(12), binary);
    EXPECT_EQ((Bytes{0, 1, 255}), binary);
    VersionPair version;
    tree->GetVersion(version_info_tag, version);
    EXPECT_EQ((VersionPair{1, 9}), version);
    EXPECT_EQ(15U, tree->GetArray(tag(13))->Size());
    EXPECT_EQ("deep", Got<std::string>(*tree->GetContainer(tag(14))->GetContainer(tag(1)), tag(2)));
}

TEST(Array, GivesBackWhatWasSet)
{
    const auto tree = RichTree();
    const auto array = tree->GetArray(tag(13));
    EXPECT_EQ(1, Got<std::int8_t>(*array, 0));
    EXPECT_EQ(2, Got<std::uint8_t>(*array, 1));
    EXPECT_EQ(3, Got<std::int16_t>(*array, 2));
    EXPECT_EQ(4, Got<std::uint16_t>(*array, 3));
    EXPECT_EQ(5, Got<std::int32_t>(*array, 4));
    EXPECT_EQ(6U, Got<std::uint32_t>(*array, 5));
    EXPECT_EQ(7, Got<std::int64_t>(*array, 6));
    EXPECT_EQ(8U, Got<std::uint64_t>(*array, 7));
    EXPECT_EQ("", Got<std::string>(*array, 8));
    EXPECT_EQ(L"", Got<std::wstring>(*array, 9));
    EXPECT_FALSE(Got<bool>(*array, 10));
    Bytes binary{1};
    array->GetBinary(11, binary);
    EXPECT_EQ(Bytes{}, binary);
    EXPECT_EQ(0U, array->GetArray(12)->Size());
    EXPECT_FALSE(array->GetContainer(13)->HasElement(1));
    EXPECT_EQ(7U, Got<std::uint32_t>(*array->GetArray(14)->GetContainer(0), tag(77)));
}

TEST(Container, HasNoElementThatWasNotSetAndDoesNotMakeOne)
{
    const auto tree = CreateEmptyContainer();
    EXPECT_FALSE(tree->HasElement(1));
    EXPECT_EQ(Bytes(8), BlobOf(*tree)) << "asking created nothing";
    tree->Set(1, false);
    EXPECT_TRUE(tree->HasElement(1));
}

TEST(Container, RefusesAnAbsentTagWithReasonOne)
{
    const auto tree = CreateEmptyContainer();
    const IContainer& read_only = *tree;
    bool flag = true;
    std::wstring text = L"kept";
    Bytes bytes{1};
    VersionPair version{7, 7};
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { tree->Get(tag(1), flag); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { tree->Get(tag(1), text); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { tree->GetBinary(tag(1), bytes); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { tree->GetVersion(version_info_tag, version); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { (void)tree->GetArray(tag(1)); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { (void)read_only.GetArray(tag(1)); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { (void)tree->GetContainer(tag(1)); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { (void)read_only.GetContainer(tag(1)); }));
    EXPECT_TRUE(flag);
    EXPECT_EQ(L"kept", text);
    EXPECT_EQ(Bytes{1}, bytes);
    EXPECT_EQ((VersionPair{7, 7}), version);
}

TEST(Container, RefusesAnUnsignedGetterOnASignedEntryAndNamesTheTag)
{
    const auto tree = CreateEmptyContainer();
    tree->Set(12, std::int32_t{5});
    std::uint32_t value = 0;
    try {
        tree->Get({12, L"SizeLimit"}, value);
        FAIL();
    } catch (const ContainerElementAccessError& error) {
        EXPECT_EQ(AccessFailure::InvalidType, error.Reason());
        EXPECT_THAT(error.what(), testing::HasSubstr("tag-id=12"));
        EXPECT_THAT(error.what(), testing::HasSubstr("tag-name=SizeLimit"));
    }
}

/// Calls `visit(name, get)` with each getter of a tree for one key.
template <typename Tree, typename Key>
void ForEachGetter(const Tree& tree, Key key, const std::function<void(int, std::function<void()>)>& visit)
{
    visit(1, [&] { Got<std::int8_t>(tree, key); });
    visit(2, [&] { Got<std::uint8_t>(tree, key); });
    visit(3, [&] { Got<std::int16_t>(tree, key); });
    visit(4, [&] { Got<std::uint16_t>(tree, key); });
    visit(5, [&] { Got<std::int32_t>(tree, key); });
    visit(6, [&] { Got<std::uint32_t>(tree, key); });
    visit(7, [&] { Got<std::int64_t>(tree, key); });
    visit(8, [&] { Got<std::uint64_t>(tree, key); });
    visit(9, [&] { Got<std::string>(tree, key); });
    visit(10, [&] { Got<std::wstring>(tree, key); });
    visit(11, [&] { Got<bool>(tree, key); });
    visit(12, [&] {
        Bytes bytes;
        tree.GetBinary(key, bytes);
    });
    visit(13, [&] { (void)tree.GetArray(key); });
    visit(14, [&] { (void)tree.GetContainer(key); });
}

TEST(Container, TakesEachTypeOnlyByItsOwnGetter)
{
    const auto tree = RichTree();
    for (int stored = 1; stored <= 14; ++stored) {
        ForEachGetter(*tree, tag(static_cast<std::uint32_t>(stored)), [&](int asked, const auto& get) {
            EXPECT_EQ(asked == stored ? AccessFailure{} : AccessFailure::InvalidType, ReasonOf(get))
                << "type " << stored << " by the getter of " << asked;
        });
    }
}

TEST(Array, TakesEachTypeOnlyByItsOwnGetter)
{
    const auto tree = RichTree();
    const auto array = tree->GetArray(tag(13));
    for (int stored = 1; stored <= 14; ++stored) {
        ForEachGetter(*array, static_cast<std::size_t>(stored - 1), [&](int asked, const auto& get) {
            EXPECT_EQ(asked == stored ? AccessFailure{} : AccessFailure::InvalidType, ReasonOf(get))
                << "type " << stored << " by the getter of " << asked;
        });
    }
}

TEST(Array, RefusesAnEmptySlotAndOneBeyondItsEndWithReasonOne)
{
    const auto array = CreateEmptyContainer()->AddArray(1, 2);
    for (const std::size_t index : {std::size_t{0}, std::size_t{1}, std::size_t{2}, ~std::size_t{0}}) {
        ForEachGetter(*array, index, [&](int asked, const auto& get) {
            EXPECT_EQ(AccessFailure::NotFound, ReasonOf(get)) << index << " by the getter of " << asked;
        });
    }
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { array->Set(2, true); }));
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf([&] { array->AddContainer(2); }));
}

TEST(Container, KnowsATagByItsNumberAlone)
{
    const auto tree = CreateEmptyContainer();
    tree->Set(TagId{3, L"First"}.id, std::uint32_t{33});
    EXPECT_EQ(33U, Got<std::uint32_t>(*tree, TagId{3, L"Second"}));
    tree->Set(TagId{3, L"Second"}.id, std::uint32_t{34});
    EXPECT_EQ(34U, Got<std::uint32_t>(*tree, TagId{3, L"First"}));
}

TEST(Container, ReplacesAValueOfAnyType)
{
    const auto tree = RichTree();
    const auto array = tree->GetArray(tag(13));
    tree->Set(13, true);
    EXPECT_TRUE(Got<bool>(*tree, tag(13)));
    EXPECT_EQ(15U, array->Size()) << "what was handed out outlives its place";
    tree->AddArray(11, 1)->Set(0, std::string("a"));
    EXPECT_EQ("a", Got<std::string>(*tree->GetArray(tag(11)), 0));
}

TEST(Tree, SharesItsNodesWithWhatIsHandedOut)
{
    auto tree = RichTree();
    const auto array = tree->GetArray(tag(13));
    array->Set(0, std::wstring(L"changed"));
    EXPECT_EQ(L"changed", Got<std::wstring>(*tree->GetArray(tag(13)), 0));
    const std::shared_ptr<const IContainer> inner = std::as_const(*tree).GetContainer(tag(14));
    tree.reset();
    EXPECT_EQ(L"changed", Got<std::wstring>(*array, 0));
    EXPECT_TRUE(inner->HasElement(1));
}

TEST(Version, IsAnArrayOfTwoUnsignedShorts)
{
    const auto tree = CreateEmptyContainer();
    tree->SetVersion(version_info_tag, {3, 4});
    const auto pair = tree->GetArray(version_info_tag);
    ASSERT_EQ(2U, pair->Size());
    EXPECT_EQ(3, Got<std::uint16_t>(*pair, 0));
    EXPECT_EQ(4, Got<std::uint16_t>(*pair, 1));
    EXPECT_EQ(65280U, version_info_tag.id);
    EXPECT_STREQ(L"__VersionInfo", version_info_tag.name);
}

TEST(Version, IsRefusedWhenTheArrayIsShortOrOfOtherTypes)
{
    const auto tree = CreateEmptyContainer();
    VersionPair version{7, 7};
    const auto get = [&] { tree->GetVersion(version_info_tag, version); };
    tree->Set(version_info_tag.id, std::uint32_t{1});
    EXPECT_EQ(AccessFailure::InvalidType, ReasonOf(get));
    tree->AddArray(version_info_tag.id, 0);
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf(get));
    const auto pair = tree->AddArray(version_info_tag.id, 2);
    pair->Set(0, std::uint16_t{1});
    EXPECT_EQ(AccessFailure::NotFound, ReasonOf(get)) << "an empty slot";
    pair->Set(1, std::int16_t{1});
    EXPECT_EQ(AccessFailure::InvalidType, ReasonOf(get));
    EXPECT_EQ((VersionPair{7, 7}), version) << "no half of a pair is given out";
}

} // namespace
} // namespace cctool::Serialization::test
