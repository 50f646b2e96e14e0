#include "tests/tool/web/body_folder.h"
#include "tool/web/io_file.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

namespace {

TEST(io_file_on_windows, can_be_read_by_others_while_it_is_open_and_not_written)
{
    const test::body_folder folder("io-file-sharing");
    web::io_file file(folder.text());
    file.append("abc", 3);
    std::wstring name;
    file.file_name(name);
    const winapi::file_handle reader(::CreateFileW(name.c_str(), GENERIC_READ,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                   OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(static_cast<bool>(reader));
    const winapi::file_handle writer(::CreateFileW(name.c_str(), GENERIC_WRITE,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                   OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(static_cast<bool>(writer));
}

} // namespace
