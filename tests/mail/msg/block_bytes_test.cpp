#include "mail/msg/block_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>

namespace host::msg {
namespace {

/// Bytes that count how often they are read, and yield only a part of what is asked for.
class counted_bytes final : public bytes
{
public:
    explicit counted_bytes(std::string text)
        : text_(std::move(text))
    {}
    [[nodiscard]] std::uint64_t size() const override { return text_.size(); }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        ++reads;
        if (fails) {
            throw std::runtime_error("a file could not be read");
        }
        if (offset >= text_.size()) {
            return 0;
        }
        return text_.copy(static_cast<char*>(destination), std::min(count, most), offset);
    }

    mutable std::size_t reads = 0;
    std::size_t most = ~std::size_t{0};
    bool fails = false;

private:
    std::string text_;
};

std::string text_of_size(std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) {
        text += std::to_string(i) + ' ';
    }
    text.resize(size);
    return text;
}

std::string read(const bytes& source, std::uint64_t offset, std::size_t count)
{
    std::string result(count, '\0');
    result.resize(source.read(offset, result.data(), count));
    return result;
}

TEST(BlockBytes, AreTheBytesOfTheFileAtEveryPlace)
{
    const std::string text = text_of_size(300000);
    counted_bytes file(text);
    for (const std::size_t most : {~std::size_t{0}, std::size_t{1000}}) {
        file.most = most;
        const block_bytes blocks(file);
        EXPECT_EQ(text.size(), blocks.size());
        EXPECT_EQ(text, to_string(blocks));
        std::mt19937 random(1);
        for (int count = 0; count < 2000; ++count) {
            const std::size_t offset = random() % text.size();
            const std::size_t size = random() % (count % 50 == 0 ? 200000 : 600);
            ASSERT_EQ(text.substr(offset, size), read(blocks, offset, size)) << offset << ' ' << size;
        }
    }
}

TEST(BlockBytes, EndWithTheFile)
{
    const counted_bytes file("some text");
    const block_bytes blocks(file);
    EXPECT_EQ("text", read(blocks, 5, 100));
    EXPECT_EQ("", read(blocks, 9, 1));
    EXPECT_EQ("", read(blocks, 65535, 2));
    EXPECT_EQ("", read(blocks, std::uint64_t{1} << 40U, 1));
    EXPECT_EQ("some", read(blocks, 0, 4));
}

TEST(BlockBytes, ReadABlockOnce)
{
    const counted_bytes file(text_of_size(200000));
    const block_bytes blocks(file);
    for (std::uint64_t offset = 0; offset < 131072; offset += 64) {
        EXPECT_EQ(64U, read(blocks, offset, 64).size());
    }
    EXPECT_EQ(2U, file.reads);
}

TEST(BlockBytes, KeepNothingOfAReadThatFailed)
{
    counted_bytes file(text_of_size(200000));
    const block_bytes blocks(file);
    const std::string begin = read(blocks, 0, 10);
    file.fails = true;
    EXPECT_THROW(read(blocks, 100000, 10), std::runtime_error);
    EXPECT_EQ(begin, read(blocks, 0, 10));
    EXPECT_THROW(read(blocks, 100000, 10), std::runtime_error);
    file.fails = false;
    EXPECT_EQ(text_of_size(200000).substr(100000, 10), read(blocks, 100000, 10));
}

} // namespace
} // namespace host::msg
