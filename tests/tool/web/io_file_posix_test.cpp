#include "tests/tool/web/body_folder.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

TEST(io_file_on_posix, has_no_name_in_its_folder_even_while_it_is_open)
{
    const test::body_folder folder("io-file-name");
    web::io_file file(folder.text());
    EXPECT_EQ(file.append("private", 7), 7U);
    EXPECT_EQ(folder.count(), 0U);
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
