#include "tests/tool/web/body_folder.h"
#include "tool/system/errors.h"
#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

#include <cwctype>
#include <filesystem>
#include <limits>
#include <typeinfo>

namespace {

using web::io_file;

/// Made ahead of all tests.
const std::wstring first_name = io_file::make_name({}, 0);

std::string content_of(web::io_data& data)
{
    std::string bytes(data.size(), '\0');
    EXPECT_EQ(data.read(0, bytes.data(), bytes.size()), bytes.size());
    return bytes;
}

template <typename Call>
std::uint32_t code_raised(const Call& call)
{
    try {
        call();
    } catch (const error::win32exception& failure) {
        EXPECT_NE(std::string(failure.what()).find("tool\\web\\io_file("), std::string::npos) << failure.what();
        return failure.code();
    }
    return 0;
}

class io_file_in_folder : public testing::Test
{
protected:
    test::body_folder folder_{"io-file"};
};

TEST_F(io_file_in_folder, starts_empty)
{
    io_file file(folder_.text());
    EXPECT_EQ(file.size(), 0U);
    char byte = 0;
    EXPECT_EQ(file.read(0, &byte, 1), 0U);
}

TEST_F(io_file_in_folder, reads_back_what_is_written_at_any_place)
{
    io_file file(folder_.text());
    EXPECT_EQ(file.write(0, "abcdef", 6), 6U);
    EXPECT_EQ(file.write(2, "XY", 2), 2U);
    EXPECT_EQ(file.append("gh", 2), 2U);
    EXPECT_EQ(content_of(file), "abXYefgh");
    char bytes[10] = {};
    EXPECT_EQ(file.read(6, bytes, 10), 2U) << "the end is a short count";
    EXPECT_STREQ(bytes, "gh");
    EXPECT_EQ(file.read(8, bytes, 10), 0U);
    EXPECT_EQ(file.read(1000000, bytes, 10), 0U);
}

TEST_F(io_file_in_folder, fills_a_gap_with_zeros)
{
    io_file file(folder_.text());
    file.write(5, "x", 1);
    EXPECT_EQ(content_of(file), std::string(5, '\0') + "x");
}

TEST_F(io_file_in_folder, moves_nothing_for_no_bytes)
{
    io_file file(folder_.text());
    EXPECT_EQ(file.write(0, nullptr, 0), 0U);
    EXPECT_EQ(file.append(nullptr, 0), 0U);
    EXPECT_EQ(file.read(0, nullptr, 0), 0U);
    EXPECT_EQ(file.size(), 0U);
}

TEST_F(io_file_in_folder, sets_its_size)
{
    io_file file(folder_.text());
    file.append("abcdef", 6);
    file.size(3);
    EXPECT_EQ(content_of(file), "abc");
    file.size(5);
    EXPECT_EQ(content_of(file), std::string("abc\0\0", 5));
    file.append("z", 1);
    EXPECT_EQ(content_of(file), std::string("abc\0\0z", 6));
}

TEST_F(io_file_in_folder, raises_with_code_13_for_a_size_beyond_32_bits)
{
    io_file file(folder_.text());
    file.size(0xFFFFFFFFU);
    EXPECT_EQ(file.size(), 0xFFFFFFFFU);
    file.size(0x100000000U);
    EXPECT_EQ(code_raised([&] { (void)file.size(); }), 13U);
    EXPECT_EQ(code_raised([&] { file.append("x", 1); }), 13U);
    char byte = 'x';
    EXPECT_EQ(file.read(0xFFFFFFFFU, &byte, 1), 1U) << "the bytes are there all the same";
    EXPECT_EQ(byte, '\0');
}

TEST_F(io_file_in_folder, refuses_places_before_the_start)
{
    io_file file(folder_.text());
    char byte = 0;
    const std::uint64_t negative = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(code_raised([&] { file.read(negative, &byte, 1); }), 131U);
    EXPECT_EQ(code_raised([&] { file.write(negative, &byte, 1); }), 131U);
    EXPECT_EQ(code_raised([&] { file.size(negative); }), 131U);
    EXPECT_EQ(code_raised([&] { file.read(negative, &byte, 0); }), 131U) << "also for no bytes";
    EXPECT_EQ(code_raised([&] { file.write(negative, &byte, 0); }), 131U) << "also for no bytes";
}

TEST_F(io_file_in_folder, raises_with_the_platforms_code_when_the_folder_is_not_there)
{
    const std::wstring missing = folder_.text() + L"missing" + folder_.separator();
    const std::uint32_t code = code_raised([&] { io_file file(missing); });
    EXPECT_TRUE(code == 2U || code == 3U) << code;
}

TEST_F(io_file_in_folder, leaves_no_file_when_its_last_handle_closes)
{
    {
        io_file file(folder_.text());
        file.append("abc", 3);
        std::wstring name;
        EXPECT_TRUE(file.file_name(name));
        EXPECT_EQ(name.substr(0, folder_.text().size()), folder_.text());
    }
    EXPECT_EQ(folder_.count(), 0U);
}

TEST_F(io_file_in_folder, is_named_by_counter_halves_and_a_number)
{
    const std::wstring first = io_file::make_name(L"dir/", 0xABCDEF12345678U);
    const std::wstring second = io_file::make_name(L"dir/", 0xABCDEF12345678U);
    const std::wstring head = L"dir/abcdef.12345678#";
    ASSERT_EQ(first.substr(0, head.size()), head);
    ASSERT_EQ(second.substr(0, head.size()), head);
    EXPECT_EQ(std::stoul(second.substr(head.size())), std::stoul(first.substr(head.size())) + 1);
    EXPECT_EQ(io_file::make_name({}, 5).substr(0, 4), L"0.5#") << "a half without leading zeros";
}

TEST_F(io_file_in_folder, counts_names_from_one)
{
    EXPECT_EQ(first_name, L"0.0#1");
}

TEST_F(io_file_in_folder, takes_its_directory_as_it_is)
{
    std::wstring name;
    io_file(folder_.text() + L"head-").file_name(name);
    EXPECT_EQ(name.substr(0, folder_.text().size() + 5), folder_.text() + L"head-");
}

TEST_F(io_file_in_folder, has_a_name_of_its_own)
{
    std::wstring first;
    std::wstring second;
    io_file(folder_.text()).file_name(first);
    io_file(folder_.text()).file_name(second);
    EXPECT_NE(first, second);
}

TEST_F(io_file_in_folder, exchanges_contents_with_another)
{
    io_file first(folder_.text());
    io_file second(folder_.text());
    std::wstring first_name;
    std::wstring name_after;
    first.file_name(first_name);
    first.append("first", 5);
    second.append("the second", 10);
    first.swap(second);
    EXPECT_EQ(content_of(first), "the second");
    EXPECT_EQ(content_of(second), "first");
    second.file_name(name_after);
    EXPECT_EQ(name_after, first_name);
    first.swap(first);
    EXPECT_EQ(content_of(first), "the second");
}

TEST_F(io_file_in_folder, refuses_to_exchange_with_another_class)
{
    io_file file(folder_.text());
    web::io_memory memory(10);
    EXPECT_THROW(file.swap(memory), std::bad_cast);
}

TEST_F(io_file_in_folder, tells_what_it_is_made_of)
{
    io_file file(folder_.text());
    EXPECT_EQ(file.kind(), 2U);
    std::byte* base = nullptr;
    std::uint64_t size = 77;
    EXPECT_FALSE(file.memory_range(base, size));
    EXPECT_EQ(base, nullptr);
    EXPECT_EQ(size, 77U);
}

TEST_F(io_file_in_folder, maps_a_view_of_all_its_bytes)
{
    std::unique_ptr<web::data_view> view;
    std::string bytes(100000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i % 251);
    }
    {
        io_file file(folder_.text());
        file.append(bytes.data(), bytes.size());
        view = file.view();
    }
    ASSERT_EQ(view->size(), bytes.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(view->address()), view->size()), bytes)
        << "good also when the file is closed";
}

TEST_F(io_file_in_folder, cannot_map_a_view_of_no_bytes)
{
    io_file file(folder_.text());
    EXPECT_EQ(code_raised([&] { (void)file.view(); }), 1006U);
}

TEST_F(io_file_in_folder, holds_a_body_of_a_gigabyte)
{
    io_file file(folder_.text());
    constexpr std::uint64_t gigabyte = 1U << 30U;
    file.size(gigabyte - 3); // a sparse file, which needs little space on the disk
    EXPECT_EQ(file.append("end of it", 9), 9U);
    EXPECT_EQ(file.size(), gigabyte + 6);
    char bytes[16] = {};
    EXPECT_EQ(file.read(gigabyte - 3, bytes, 16), 9U);
    EXPECT_STREQ(bytes, "end of it");
    EXPECT_EQ(file.view()->size(), gigabyte + 6);
}

} // namespace
