#include "tests/support/guarded_buffer.h"
#include "tool/system/errors.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <typeinfo>

namespace io_memory_test {

using web::io_memory;

std::string content_of(web::io_data& data)
{
    std::string bytes(data.size(), '\0');
    EXPECT_EQ(data.read(0, bytes.data(), bytes.size()), bytes.size());
    return bytes;
}

std::string pattern(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    return bytes;
}

/// Returns the text of the exception of the given type that a call throws; "no exception" if it throws none.
template <typename Exception, typename Call>
std::string raised(const Call& call)
{
    try {
        call();
    } catch (const Exception& failure) {
        return failure.what();
    }
    return "no exception";
}

TEST(io_memory, rounds_its_capacity_up_to_whole_pages)
{
    const io_memory small(10);
    EXPECT_EQ(small.capacity(), small.page());
    EXPECT_EQ(io_memory(small.page()).capacity(), small.page());
    EXPECT_EQ(io_memory(small.page() + 1).capacity(), 2 * small.page());
}

TEST(io_memory, takes_as_much_as_its_capacity_and_tells_how_much)
{
    io_memory memory(10);
    const std::uint64_t page = memory.page();
    const std::string bytes = pattern(page + 904);
    EXPECT_EQ(memory.write(0, bytes.data(), bytes.size()), page);
    EXPECT_EQ(memory.size(), page);
    EXPECT_EQ(content_of(memory), bytes.substr(0, page));
}

TEST(io_memory, reads_no_further_than_its_size)
{
    io_memory memory(100);
    memory.append("abcdef", 6);
    char buffer[20] = {};
    EXPECT_EQ(memory.read(0, buffer, 20), 6U);
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_EQ(memory.read(4, buffer, 20), 2U);
    EXPECT_EQ(memory.read(6, buffer, 20), 0U);
    EXPECT_EQ(memory.read(7, buffer, 1), 0U);
    EXPECT_EQ(memory.read(std::numeric_limits<std::uint64_t>::max(), buffer, 1), 0U);
    EXPECT_EQ(memory.read(1, buffer, std::numeric_limits<std::uint64_t>::max()), 5U) << "offset and count may not wrap";
}

TEST(io_memory, reads_nothing_into_null_or_for_no_bytes)
{
    io_memory memory(100);
    memory.append("abc", 3);
    char byte = 'x';
    EXPECT_EQ(memory.read(0, nullptr, 3), 0U);
    EXPECT_EQ(memory.read(0, &byte, 0), 0U);
    EXPECT_EQ(byte, 'x');
}

TEST(io_memory, writes_nothing_from_null_or_for_no_bytes)
{
    io_memory memory(100);
    EXPECT_EQ(memory.write(0, nullptr, 3), 0U);
    EXPECT_EQ(memory.write(0, "abc", 0), 0U);
    EXPECT_EQ(memory.write(1U << 30U, nullptr, 3), 0U) << "not even an offset out of range matters";
    EXPECT_EQ(memory.append(nullptr, 3), 0U);
    EXPECT_EQ(memory.append("abc", 0), 0U);
    EXPECT_EQ(memory.size(), 0U);
}

TEST(io_memory, refuses_a_write_at_the_end_of_its_capacity)
{
    io_memory memory(10);
    const std::uint64_t capacity = memory.capacity();
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.write(capacity, "ab", 2); }),
              "io_memory::write(): offset out of range");
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.write(~std::uint64_t{0}, "ab", 2); }),
              "io_memory::write(): offset out of range");
    EXPECT_EQ(memory.size(), 0U);
    EXPECT_EQ(memory.write(capacity - 1, "ab", 2), 1U);
    EXPECT_EQ(memory.size(), capacity);
}

TEST(io_memory, grows_its_size_only_by_writes_beyond_it)
{
    io_memory memory(100);
    memory.write(0, "abcdef", 6);
    memory.write(1, "XY", 2);
    EXPECT_EQ(content_of(memory), "aXYdef");
    memory.write(5, "12", 2);
    EXPECT_EQ(content_of(memory), "aXYde12");
}

TEST(io_memory, has_zeros_where_nothing_was_written)
{
    io_memory memory(20000);
    memory.write(15000, "x", 1);
    const std::string bytes = content_of(memory);
    EXPECT_EQ(bytes.find('x'), 15000U);
    EXPECT_EQ(bytes.find_first_not_of('\0'), 15000U);
    EXPECT_EQ(bytes.size(), 15001U);
}

TEST(io_memory, shows_nothing_of_what_its_memory_contained_before)
{
    constexpr std::uint64_t capacity = 65536;
    const std::string used(capacity, 'x');
    for (int round = 0; round < 3; ++round) {
        web::io_memory subject(capacity);
        ASSERT_EQ(subject.write(5, "ab", 2), 2U);
        ASSERT_EQ(subject.write(20, "c", 1), 1U);
        subject.size(30);
        std::string read(30, '?');
        ASSERT_EQ(subject.read(0, read.data(), 30), 30U);
        EXPECT_EQ(read, std::string(5, '\0') + "ab" + std::string(13, '\0') + "c" + std::string(9, '\0'));
        subject.size(capacity);
        EXPECT_EQ(std::to_integer<int>(subject.view()->address()[capacity - 1]), 0);
        subject.size(0);
        ASSERT_EQ(subject.append(used.data(), capacity), capacity); // is what the next one may get
    }
}

TEST(io_memory, appends_at_its_size_until_it_is_full)
{
    io_memory memory(1);
    const std::uint64_t capacity = memory.capacity();
    const std::string bytes = pattern(capacity - 1);
    EXPECT_EQ(memory.append(bytes.data(), bytes.size()), bytes.size());
    EXPECT_EQ(memory.append("ab", 2), 1U);
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.append("b", 1); }), "io_memory::append(): offset out of range");
    EXPECT_EQ(content_of(memory), bytes + "a");
}

TEST(io_memory, sets_its_size_without_clearing)
{
    io_memory memory(100);
    memory.append("abcdef", 6);
    memory.size(2);
    EXPECT_EQ(memory.size(), 2U);
    EXPECT_EQ(content_of(memory), "ab");
    memory.size(6);
    EXPECT_EQ(content_of(memory), "abcdef");
    memory.size(memory.capacity());
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.size(memory.capacity() + 1); }),
              "io_memory::size(): offset out of range");
    EXPECT_EQ(memory.size(), memory.capacity());
}

TEST(io_memory, reserves_nothing_for_no_capacity)
{
    io_memory memory(0);
    EXPECT_EQ(memory.capacity(), 0U);
    EXPECT_EQ(memory.size(), 0U);
    char byte = 0;
    EXPECT_EQ(memory.read(0, &byte, 1), 0U);
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.write(0, "a", 1); }), "io_memory::write(): offset out of range");
    EXPECT_EQ(raised<std::out_of_range>([&] { memory.append("a", 1); }), "io_memory::append(): offset out of range");
    memory.size(0);
    EXPECT_EQ(memory.view()->size(), 0U);
}

TEST(io_memory, raises_when_so_much_cannot_be_reserved)
{
    for (const std::uint64_t capacity : {std::uint64_t{1} << 62U, std::numeric_limits<std::uint64_t>::max()}) {
        try {
            const io_memory memory(capacity);
            ADD_FAILURE() << "no exception";
        } catch (const error::win32exception& failure) {
            EXPECT_NE(failure.code(), 0U);
            EXPECT_NE(std::string(failure.what()).find("tool\\web\\io_memory("), std::string::npos) << failure.what();
        }
    }
}

TEST(io_memory, never_moves_and_spends_memory_only_where_data_reaches)
{
    // More than the machine has: possible only because pages without data use no memory.
    io_memory memory(std::uint64_t{64} << 30U);
    std::byte* base = nullptr;
    std::uint64_t size = 0;
    memory.append("abc", 3);
    ASSERT_TRUE(memory.memory_range(base, size));
    const std::byte* const first = base;
    memory.write((std::uint64_t{40} << 30U) + 12345, "far", 3);
    char bytes[3] = {};
    EXPECT_EQ(memory.read((std::uint64_t{40} << 30U) + 12345, bytes, 3), 3U);
    EXPECT_EQ(std::string(bytes, 3), "far");
    memory.size(3);
    ASSERT_TRUE(memory.memory_range(base, size));
    EXPECT_EQ(base, first);
    EXPECT_EQ(size, 3U);
}

TEST(io_memory, copies_across_pages_that_were_never_touched)
{
    io_memory memory(10 * 4096);
    const std::string bytes = pattern(3 * 4096);
    const test::guarded_buffer source(bytes);
    EXPECT_EQ(memory.write(2 * 4096 + 5, source.begin(), bytes.size()), bytes.size());
    EXPECT_EQ(content_of(memory), std::string(2 * 4096 + 5, '\0') + bytes);
    memory.size(10 * 4096);
    EXPECT_EQ(content_of(memory).substr(5 * 4096 + 5), std::string(5 * 4096 - 5, '\0'));
}

TEST(io_memory, copies_within_itself)
{
    io_memory memory(100);
    memory.append("0123456789", 10);
    std::byte* base = nullptr;
    std::uint64_t size = 0;
    ASSERT_TRUE(memory.memory_range(base, size));
    EXPECT_EQ(memory.write(2, base, 8), 8U);
    EXPECT_EQ(content_of(memory), "0101234567");
}

TEST(io_memory, exchanges_contents_with_another)
{
    io_memory first(10);
    io_memory second(100000);
    first.append("first", 5);
    second.append("the second", 10);
    first.swap(second);
    EXPECT_EQ(content_of(first), "the second");
    EXPECT_EQ(content_of(second), "first");
    EXPECT_GE(first.capacity(), 100000U);
    EXPECT_EQ(second.capacity(), second.page());
    first.swap(first);
    EXPECT_EQ(content_of(first), "the second");
}

TEST(io_memory, refuses_to_exchange_with_another_class)
{
    io_memory memory(10);
    web::io_file file(web::system_temp_directory());
    EXPECT_THROW(memory.swap(file), std::bad_cast);
}

TEST(io_memory, tells_what_it_is_made_of)
{
    io_memory memory(10);
    memory.append("abc", 3);
    EXPECT_EQ(memory.kind(), 1U);
    std::wstring name = L"unchanged";
    EXPECT_FALSE(memory.file_name(name));
    EXPECT_EQ(name, L"unchanged");
    std::byte* base = nullptr;
    std::uint64_t size = 0;
    EXPECT_TRUE(memory.memory_range(base, size));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(base), size), "abc");
}

TEST(io_memory, gives_a_view_of_all_its_bytes)
{
    io_memory memory(100000);
    const std::string bytes = pattern(5000);
    memory.append(bytes.data(), bytes.size());
    memory.size(50000); // with pages that were never written to
    const auto view = memory.view();
    ASSERT_EQ(view->size(), 50000U);
    const std::string seen(reinterpret_cast<const char*>(view->address()), view->size());
    EXPECT_EQ(seen, bytes + std::string(45000, '\0'));
}

} // namespace io_memory_test
