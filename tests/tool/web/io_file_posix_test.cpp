#include "tests/support/ordinary_user_posix.h"
#include "tests/support/resource_limit_posix.h"
#include "tests/tool/web/body_folder.h"
#include "tests/tool/web/stopped_clock_posix.h"
#include "tool/system/conversions.h"
#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::uint64_t monotonic_nanoseconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

TEST(io_file_on_posix, has_the_nanoseconds_of_the_monotonic_clock_in_its_name)
{
    const test::body_folder folder("io-file-clock");
    const std::uint64_t before = monotonic_nanoseconds();
    web::io_file file(folder.text());
    const std::uint64_t after = monotonic_nanoseconds();
    std::wstring name;
    ASSERT_TRUE(file.file_name(name));
    const std::wstring halves = name.substr(folder.text().size());
    const std::uint64_t high = std::stoull(halves, nullptr, 16);
    const std::uint64_t low = std::stoull(halves.substr(halves.find(L'.') + 1), nullptr, 16);
    EXPECT_LE(before, high << 32U | low);
    EXPECT_GE(after, high << 32U | low);
}

TEST(io_file_on_posix, raises_and_leaves_no_file_when_it_cannot_be_opened_again)
{
    const test::body_folder folder("io-file-limit");
    std::uint32_t code = 0;
    try {
        const test::descriptor_limit one_more(1);
        const web::io_file file(folder.text());
    } catch (const error::win32exception& failure) {
        code = failure.code();
    }
    EXPECT_EQ(code, winapi::code::too_many_open_files);
    EXPECT_EQ(folder.count(), 0U);
}

TEST(io_file_on_posix, raises_the_code_of_a_folder_that_refuses_new_files)
{
    const test::body_folder folder("io-file-refused");
    const std::string path = winapi::conv_to_char(folder.text(), winapi::code_page_utf8);
    ASSERT_EQ(::chmod(path.c_str(), S_IRUSR | S_IXUSR | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH), 0);
    std::uint32_t code = 0;
    try {
        const test::ordinary_user user;
        const web::io_file file(folder.text());
    } catch (const error::win32exception& failure) {
        code = failure.code();
    }
    ASSERT_EQ(::chmod(path.c_str(), S_IRWXU), 0);
    EXPECT_EQ(code, winapi::code::access_denied);
}

TEST(io_file_on_posix, raises_when_the_address_space_has_no_room_for_a_view)
{
    const test::body_folder folder("io-file-view");
    web::io_file file(folder.text());
    constexpr std::uint64_t gigabyte = 1U << 30U;
    file.size(gigabyte); // a sparse file
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    ASSERT_NE(pages, 0U);
    std::uint32_t code = 0;
    try {
        const test::resource_limit room(RLIMIT_AS, pages * static_cast<std::uint64_t>(::getpagesize()) + gigabyte / 2);
        (void)file.view();
    } catch (const error::win32exception& failure) {
        code = failure.code();
    }
    EXPECT_EQ(code, winapi::code::not_enough_memory);
    EXPECT_EQ(file.view()->size(), gigabyte);
}

TEST(io_file_on_posix, has_no_name_in_its_folder_even_while_it_is_open)
{
    const test::body_folder folder("io-file-name");
    web::io_file file(folder.text());
    EXPECT_EQ(file.append("private", 7), 7U);
    EXPECT_EQ(folder.count(), 0U);
}

/// Lets new files have all permissions that their maker asks for.
class open_umask
{
public:
    open_umask() = default;
    open_umask(const open_umask&) = delete;
    open_umask& operator=(const open_umask&) = delete;
    ~open_umask() { ::umask(before_); }

private:
    mode_t before_ = ::umask(0);
};

TEST(io_file_on_posix, can_be_opened_by_its_user_alone)
{
    const test::body_folder folder("io-file-mode");
    const open_umask none;
    const int descriptor = test::next_descriptor();
    const web::io_file file(folder.text());
    struct stat facts = {};
    ASSERT_EQ(::fstat(descriptor, &facts), 0);
    EXPECT_TRUE(S_ISREG(facts.st_mode));
    EXPECT_EQ(facts.st_mode & 07777, mode_t{S_IRUSR | S_IWUSR});
}

TEST(io_file_on_posix, refuses_a_file_that_exists_under_its_name)
{
    const test::body_folder folder("io-file-exists");
    const test::stopped_clock clock;
    std::wstring name;
    ASSERT_TRUE(web::io_file(folder.text()).file_name(name));
    // The next name differs in its last number alone while the clock does not move.
    const auto number = name.find(L'#') + 1;
    name = name.substr(0, number) + std::to_wstring(std::stoul(name.substr(number)) + 1);
    const std::filesystem::path path(winapi::conv_to_char(name, winapi::code_page_utf8));
    std::ofstream(path) << "of another user";
    std::uint32_t code = 0;
    try {
        const web::io_file file(folder.text());
    } catch (const error::win32exception& failure) {
        code = failure.code();
    }
    EXPECT_EQ(code, winapi::code::file_exists);
    std::string text;
    std::getline(std::ifstream(path), text);
    EXPECT_EQ(text, "of another user");
}

TEST(system_temp_directory, follows_the_environment)
{
    const char* const before = std::getenv("TMPDIR");
    const std::string kept = before != nullptr ? before : "";
    ::setenv("TMPDIR", "/somewhere/else", 1);
    EXPECT_EQ(web::system_temp_directory(), L"/somewhere/else/");
    ::setenv("TMPDIR", "", 1);
    EXPECT_EQ(web::system_temp_directory(), L"/tmp/");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(web::system_temp_directory(), L"/tmp/");
    if (before != nullptr) {
        ::setenv("TMPDIR", kept.c_str(), 1);
    }
}

} // namespace
