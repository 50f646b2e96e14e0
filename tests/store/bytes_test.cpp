#include "store/bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace host {
namespace {

std::string pattern(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>('a' + i % 23);
    }
    return text;
}

/// A file that is deleted with its object.
class temporary_file
{
public:
    explicit temporary_file(const std::string& contents)
        : path_(std::filesystem::temp_directory_path() / ("postwarden_bytes_test_" + std::to_string(++counter_)))
    {
        std::ofstream(path_, std::ios::binary) << contents;
    }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;
    ~temporary_file()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    static inline int counter_ = 0;
    std::filesystem::path path_;
};

TEST(Bytes, ReadsFromAnyOffsetAndNothingBehindTheEnd)
{
    const bytes_ptr data = bytes_of("abcdef");
    char block[4] = {};
    EXPECT_EQ(3U, data->read(2, block, 3));
    EXPECT_EQ("cde", std::string(block, 3));
    EXPECT_EQ(1U, data->read(5, block, 4));
    EXPECT_EQ(0U, data->read(6, block, 4));
    EXPECT_EQ(0U, data->read(600, block, 4));
}

TEST(Bytes, ShowARangeOfAFile)
{
    const temporary_file file("0123456789");
    EXPECT_EQ("3456", to_string(*bytes_of_file(file.path(), 3, 4)));
    EXPECT_EQ("0123456789", to_string(*bytes_of_file(file.path())));
    EXPECT_EQ("89", to_string(*bytes_of_file(file.path(), 8, 100))); // beyond the end of the file
    EXPECT_EQ(0U, bytes_of_file(file.path(), 11)->size());
}

/// Yields one byte at a time, and ends early.
class slow_bytes final : public bytes
{
public:
    [[nodiscard]] std::uint64_t size() const override { return 6; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        return bytes_of("abcd")->read(offset, destination, std::min<std::size_t>(count, 1));
    }
};

TEST(Bytes, AreReadUntilTheyEnd)
{
    const slow_bytes source;
    EXPECT_EQ("", first_bytes(source, 0));
    EXPECT_EQ("abc", first_bytes(source, 3));
    EXPECT_EQ("abcd", first_bytes(source, 100));
    EXPECT_EQ("abcd", to_string(source));
    std::string block(4, '-');
    EXPECT_EQ(2U, read_all(source, 1, block.data(), 2));
    EXPECT_EQ("bc--", block);
    EXPECT_EQ(1U, read_all(source, 3, block.data(), 4));
    EXPECT_EQ("dc--", block);
}

TEST(Bytes, RefuseAFileThatIsNotThere)
{
    EXPECT_THROW(bytes_of_file("no such file"), std::runtime_error);
}

TEST(Bytes, RefuseAFolder)
{
    EXPECT_THROW(to_string(*bytes_of_file(std::filesystem::temp_directory_path())), std::runtime_error);
}

TEST(Bytes, AreTheSameByContentWhateverHoldsThem)
{
    const std::string text = pattern(200000);
    const temporary_file file(text);
    EXPECT_TRUE(same_bytes(bytes_of(text), bytes_of_file(file.path())));
    std::string other = text;
    other.back() = '!';
    EXPECT_FALSE(same_bytes(bytes_of(other), bytes_of_file(file.path())));
    EXPECT_FALSE(same_bytes(bytes_of("a"), bytes_of("ab")));
    EXPECT_FALSE(same_bytes(bytes_of("a"), nullptr));
    EXPECT_TRUE(same_bytes(nullptr, nullptr));
}

class ScratchAtSize : public testing::TestWithParam<std::size_t>
{};

TEST_P(ScratchAtSize, KeepsWhatIsWrittenInPieces)
{
    const std::string text = pattern(GetParam());
    scratch target;
    for (std::size_t i = 0; i < text.size(); i += 4096) {
        target.append(std::string_view(text).substr(i, 4096));
    }
    EXPECT_EQ(text.size(), target.size());
    EXPECT_EQ(text, to_string(*target.freeze()));
    EXPECT_EQ(0U, target.size()); // a scratch is empty once frozen
}

TEST_P(ScratchAtSize, OverwritesInPlace)
{
    std::string text = pattern(GetParam());
    scratch target;
    target.append(text);
    target.write(text.size() - 3, "XYZ12", 5);
    text.replace(text.size() - 3, 3, "XYZ12");
    EXPECT_EQ(text, to_string(*target.freeze()));
}

TEST_P(ScratchAtSize, FillsAGapWithZeros)
{
    scratch target;
    target.append("ab");
    target.write(GetParam() + 10, "c", 1);
    const std::string text = to_string(*target.freeze());
    ASSERT_EQ(GetParam() + 11, text.size());
    EXPECT_EQ("ab", text.substr(0, 2));
    EXPECT_EQ(std::string(GetParam() + 8, '\0'), text.substr(2, GetParam() + 8));
    EXPECT_EQ('c', text.back());
}

TEST_P(ScratchAtSize, CutsAndGrowsAgainWithZeros)
{
    scratch target;
    target.append(pattern(GetParam()));
    target.resize(5);
    EXPECT_EQ(5U, target.size());
    target.resize(8);
    EXPECT_EQ("abcde" + std::string(3, '\0'), to_string(*target.freeze()));
}

// Sizes on both sides of the limit for memory.
INSTANTIATE_TEST_SUITE_P(AroundTheMemoryLimit, ScratchAtSize,
                         testing::Values(10, scratch::memory_limit, scratch::memory_limit + 1, 400000));

TEST(Scratch, FrozenBytesOutliveIt)
{
    bytes_ptr frozen;
    {
        scratch target;
        target.append(pattern(300000));
        frozen = target.freeze();
        target.append("new");
    }
    EXPECT_EQ(pattern(300000), to_string(*frozen));
}

} // namespace
} // namespace host
