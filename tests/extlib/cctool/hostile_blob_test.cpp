#include "cctool/serialization/errors.h"
#include "tests/extlib/cctool/blob_bytes.h"
#include "tests/support/every_split.h"
#include "tests/support/failing_new.h"

#include <gtest/gtest.h>

#include <thread>

namespace cctool::Serialization::test {
namespace {

/// Returns "" if the bytes are a container, otherwise the text of the refusal.
std::string Refusal(std::string_view bytes)
{
    try {
        (void)Parse(bytes);
    } catch (const InvalidDataError& error) {
        return error.Context()->description.empty() && error.Context()->name == nullptr ? "invalid data" : "described";
    } catch (const std::length_error& error) {
        return error.what();
    }
    return "";
}

std::string Refusal(const Bytes& bytes)
{
    return Refusal(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

TEST(HostileBlob, EveryBeginningOfAGoodOneIsRefused)
{
    const Bytes blob = BlobOf(*RichTree());
    const std::string text(blob.begin(), blob.end());
    ::test::every_beginning(text, [&](std::string_view beginning) {
        EXPECT_EQ(beginning.size() == text.size() ? "" : "invalid data", Refusal(beginning)) << beginning.size();
    });
}

TEST(HostileBlob, EveryChangedByteIsReadWithinBounds)
{
    const Bytes blob = BlobOf(*RichTree());
    for (std::size_t place = 0; place < blob.size(); ++place) {
        for (const std::uint8_t change : {0x01, 0x0F, 0x80, 0xFF}) {
            std::string text(blob.begin(), blob.end());
            text[place] = static_cast<char>(text[place] ^ change);
            const ::test::guarded_buffer buffer(text);
            const std::string refusal = Refusal(buffer.view());
            EXPECT_TRUE(refusal.empty() || refusal == "invalid data" || refusal == "vector<T> too long") << refusal;
        }
    }
}

TEST(HostileBlob, OfFewerThanEightBytesIsRefused)
{
    for (std::size_t size = 0; size < 8; ++size) {
        EXPECT_EQ("invalid data", Refusal(Bytes(size))) << size;
    }
    EXPECT_THROW((void)ContainerFromBinary(nullptr, 0), InvalidDataError);
}

TEST(HostileBlob, LengthsBeyondTheDataAreRefusedWithoutMemoryForThem)
{
    for (const char* type : {"00000009", "0000000a", "0000000c"}) {
        for (const char* length : {"0000000000000004", "00000000000fffff", "00007fffffffffff", "7fffffffffffffff",
                                   "8000000000000000", "8000000000000001", "ffffffffffffffff"}) {
            EXPECT_EQ("invalid data",
                      Refusal(FromHex(std::string("0000000000000001 00000002 ") + type + length + "616263")))
                << type << ' ' << length;
        }
    }
}

TEST(HostileBlob, CountsBeyondTheDataAreRefused)
{
    for (const char* count : {"0000000000000002", "7fffffffffffffff", "ffffffffffffffff"}) {
        EXPECT_EQ("invalid data", Refusal(FromHex(std::string(count) + "00000001 00000001 05"))) << count;
    }
    for (const char* count : {"0000000000000002", "00000000ffffffff", "0fffffffffffffff"}) {
        EXPECT_EQ("invalid data",
                  Refusal(FromHex(std::string("0000000000000001 00000002 0000000d") + count + "00000001 05")))
            << count;
    }
}

TEST(HostileBlob, AnArrayCountThatNoVectorHoldsIsALengthError)
{
    for (const char* count : {"1000000000000000", "8000000000000000", "ffffffffffffffff"}) {
        EXPECT_EQ("vector<T> too long", Refusal(FromHex(std::string("0000000000000001 00000002 0000000d") + count)))
            << count;
    }
}

TEST(HostileBlob, UnknownTypesAreRefused)
{
    for (const char* type : {"00000000", "0000000f", "0d000000", "ffffffff"}) {
        const std::string zeros(32, '0');
        EXPECT_EQ("invalid data", Refusal(FromHex(std::string("0000000000000001 00000002 ") + type + zeros))) << type;
        EXPECT_EQ("invalid data",
                  Refusal(FromHex(std::string("0000000000000001 00000002 0000000d 0000000000000001 ") + type + zeros)))
            << type;
    }
}

/// Returns a blob of about 4 MB in which each level contains only the next one.
Bytes DeepBlob(std::string_view level)
{
    constexpr std::size_t size = 4U << 20U;
    const Bytes one_level = FromHex(level);
    Bytes blob;
    blob.reserve(size);
    if (one_level.size() == 12) { // the levels are arrays; the root is a container
        blob = FromHex("0000000000000001 00000002 0000000d");
    }
    while (blob.size() + one_level.size() + 8 <= size) {
        blob.insert(blob.end(), one_level.begin(), one_level.end());
    }
    blob.resize(blob.size() + 8); // the innermost one is empty
    return blob;
}

constexpr std::string_view array_level = "0000000000000001 0000000d";
constexpr std::string_view container_level = "0000000000000001 00000002 0000000e";

class DeepNesting : public testing::TestWithParam<std::string_view>
{};

TEST_P(DeepNesting, IsReadWrittenAndReleased)
{
    const Bytes blob = DeepBlob(GetParam());
    auto tree = Parse(blob);
    EXPECT_TRUE(blob == BlobOf(*tree));
    tree.reset();
}

TEST_P(DeepNesting, IsReleasedWhenTheDataEndsTooEarly)
{
    Bytes blob = DeepBlob(GetParam());
    blob.pop_back();
    EXPECT_EQ("invalid data", Refusal(blob));
}

TEST_P(DeepNesting, IsReleasedByAnotherThreadWhileAPartIsHeld)
{
    auto tree = Parse(DeepBlob(GetParam()));
    std::shared_ptr<void> part;
    if (GetParam() == array_level) {
        part = tree->GetArray({2, nullptr})->GetArray(0)->GetArray(0);
    } else {
        part = tree->GetContainer({2, nullptr})->GetContainer({2, nullptr});
    }
    std::thread([released = std::move(tree)]() mutable { released.reset(); }).join();
    part.reset();
}

TEST_P(DeepNesting, IsReleasedWhenItsPlaceIsTaken)
{
    const auto tree = Parse(DeepBlob(GetParam()));
    tree->Set(2, true);
    EXPECT_EQ(FromHex("0000000000000001 00000002 0000000b 01"), BlobOf(*tree));
}

INSTANTIATE_TEST_SUITE_P(OfBothKinds, DeepNesting, testing::Values(array_level, container_level));

TEST(DeepNestingMade, BySettersIsReleasedToo)
{
    constexpr std::size_t levels = 300000;
    const auto tree = CreateEmptyContainer();
    auto array = tree->AddArray(1, 1);
    for (std::size_t level = 0; level < levels; ++level) {
        array = level % 2 == 0 ? array->AddContainer(0)->AddArray(1, 1) : array->AddArray(0, 1);
    }
    array->Set(0, true);
    Bytes blob;
    EXPECT_TRUE(tree->GetBlob(blob, false));
}

TEST(FailedAllocation, OfAnyNumberIsStandardOnRead)
{
    const Bytes blob = BlobOf(*RichTree());
    std::size_t good = 0;
    for (bool done = false; !done; ++good) {
        ASSERT_LT(good, 1000U);
        try {
            const ::test::failing_new failure(good + 1, ::test::refusals::all_behind);
            (void)Parse(blob);
            done = true;
        } catch (const std::bad_alloc&) {
            done = false;
        }
    }
    EXPECT_GT(good, 4U) << "reading takes memory several times";
}

TEST(FailedAllocation, LeavesTheTargetOfABlobAsItWas)
{
    const auto tree = RichTree();
    for (const bool append : {false, true}) {
        bool done = false;
        for (std::size_t good = 0; !done; ++good) {
            ASSERT_LT(good, 1000U);
            Bytes bytes{1, 2, 3};
            try {
                const ::test::failing_new failure(good + 1, ::test::refusals::all_behind);
                done = tree->GetBlob(bytes, append);
            } catch (const std::bad_alloc&) {
                EXPECT_EQ((Bytes{1, 2, 3}), bytes);
            }
        }
    }
}

TEST(FailedAllocation, LeavesAContainerAsItWasOnSet)
{
    const auto tree = RichTree();
    Bytes before = BlobOf(*tree);
    const auto fails = [&](const auto& set) {
        for (std::size_t good = 0;; ++good) {
            try {
                const ::test::failing_new failure(good + 1, ::test::refusals::all_behind);
                set();
                return good;
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(before, BlobOf(*tree));
            }
        }
    };
    const std::wstring long_text(100000, L'x');
    EXPECT_GT(fails([&] { tree->Set(10, long_text); }), 0U);
    tree->Set(10, std::wstring(L"wide \x263A"));
    // Small values share a block of memory, so that only some of them need a new one.
    std::size_t failed = 0;
    for (std::uint32_t id = 99; failed < 3; ++id) {
        ASSERT_LT(id, 100000U);
        failed += fails([&] { tree->AddContainer(id); });
        before = BlobOf(*tree);
    }
}

TEST(FailedAllocation, LeavesAnArrayAsItWasOnSet)
{
    const auto tree = CreateEmptyContainer();
    const auto array = tree->AddArray(1, 1);
    array->Set(0, true);
    const Bytes before = BlobOf(*tree);
    std::size_t failed = 0;
    for (int count = 0; failed == 0; ++count) {
        ASSERT_LT(count, 100000);
        try {
            const ::test::failing_new failure(1, ::test::refusals::all_behind);
            array->AddContainer(0);
        } catch (const std::bad_alloc&) {
            ++failed;
        }
        if (failed == 0) {
            array->Set(0, true);
        }
    }
    EXPECT_EQ(before, BlobOf(*tree));
}

} // namespace
} // namespace cctool::Serialization::test
