#include "tests/support/guarded_buffer.h"
#include "tool/http/byte_search.h"
#include "tool/http/plain_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>

namespace {

namespace search = http::search;
using http::plain_bytes;
using processor::bytes;

static_assert(bytes::size == plain_bytes::size);

/// The bounds and the bytes that the grammars look for, and bytes at the limits of signed numbers.
constexpr std::array<unsigned char, 9> wanted{':', '\n', '\r', 0x1F, 0x20, 0, 0x7F, 0x80, 0xFF};

template <typename FitsOne>
const char* one_by_one(const test::guarded_buffer& text, FitsOne fits_one)
{
    return std::find_if(text.begin(), text.end(), fits_one);
}

/// Compares the searches with each other and with a search byte by byte. The text ends before a page without access.
void expect_agreement(const std::string& text)
{
    const test::guarded_buffer buffer(text);
    const char* const begin = buffer.begin();
    const char* const end = buffer.end();
    const char* const line_end = one_by_one(buffer, [](char one) { return one == '\r' || one == '\n'; });
    ASSERT_EQ(line_end, search::line_end<bytes>(begin, end)) << testing::PrintToString(text);
    ASSERT_EQ(line_end, search::line_end<plain_bytes>(begin, end)) << testing::PrintToString(text);
    for (const unsigned char value : wanted) {
        const char* const byte = one_by_one(buffer, [=](char one) { return one == static_cast<char>(value); });
        ASSERT_EQ(byte, search::byte<bytes>(begin, end, static_cast<char>(value))) << testing::PrintToString(text);
        ASSERT_EQ(byte, search::byte<plain_bytes>(begin, end, static_cast<char>(value)));
        const char* const small =
            one_by_one(buffer, [=](char one) { return static_cast<unsigned char>(one) <= value; });
        ASSERT_EQ(small, search::at_most<bytes>(begin, end, value)) << testing::PrintToString(text);
        ASSERT_EQ(small, search::at_most<plain_bytes>(begin, end, value));
    }
}

TEST(byte_search, finds_each_byte_at_each_position)
{
    constexpr std::size_t two_reads_and_a_rest = 2 * bytes::size + 3;
    for (unsigned value = 0; value <= 0xFF && !testing::Test::HasFatalFailure(); ++value) {
        for (std::size_t at = 0; at < two_reads_and_a_rest; ++at) {
            std::string text(two_reads_and_a_rest, 'x');
            text[at] = static_cast<char>(value);
            expect_agreement(text);
        }
    }
}

TEST(byte_search, finds_a_mark_at_each_position_of_texts_of_each_size)
{
    for (std::size_t size = 0; size <= 3 * bytes::size && !testing::Test::HasFatalFailure(); ++size) {
        expect_agreement(std::string(size, 'x'));
        for (std::size_t at = 0; at < size; ++at) {
            std::string text(size, 'x');
            text[at] = ':';
            text.back() = '\n';
            expect_agreement(text);
        }
    }
}

TEST(byte_search, masks_of_all_bytes_are_those_of_the_plain_bytes)
{
    std::string text(bytes::size, 0);
    for (unsigned value = 0; value <= 0xFF; ++value) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            text[at] = static_cast<char>(value * 31 + at * 17);
        }
        for (unsigned sought = 0; sought <= 0xFF; ++sought) {
            const auto byte = static_cast<unsigned char>(sought);
            ASSERT_EQ(plain_bytes(text.data()).equal(static_cast<char>(byte)),
                      bytes(text.data()).equal(static_cast<char>(byte)));
            ASSERT_EQ(plain_bytes(text.data()).at_most(byte), bytes(text.data()).at_most(byte));
        }
    }
}

TEST(byte_search, agrees_on_random_texts_with_many_and_few_marks)
{
    std::mt19937 random(1);
    for (int round = 0; round < 20'000 && !testing::Test::HasFatalFailure(); ++round) {
        std::string text(random() % 80, 0);
        const unsigned marks = random() % 64;
        for (char& one : text) {
            one = static_cast<char>(random() % 64 < marks ? wanted[random() % wanted.size()] : random());
        }
        expect_agreement(text);
    }
}

} // namespace
