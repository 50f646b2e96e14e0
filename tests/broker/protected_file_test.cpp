#include "broker/protected_file.h"
#include "tests/broker/files_of_test.h"

#include <gtest/gtest.h>

#include <string>

namespace broker {
namespace {

constexpr std::size_t largest = 1000;
constexpr const wchar_t* for_everybody = L"D:P(A;;FA;;;WD)";
using fault = unusable_file::fault;

/// A file whose owner is the account of this process, which these tests trust.
class ProtectedFile : public ::testing::Test
{
protected:
    std::string read() { return read_protected_file(folder.file.wstring(), rules, largest); }

    void expect(fault what, const std::wstring& why, const std::wstring& path, const access_rules& which) const
    {
        try {
            (void)read_protected_file(path, which, largest);
            ADD_FAILURE() << "it was read";
        } catch (const unusable_file& failure) {
            EXPECT_EQ(failure.what_is_wrong(), what);
            EXPECT_NE(failure.why().find(why), std::wstring::npos)
                << std::string(failure.why().begin(), failure.why().end());
        }
    }
    void expect(fault what, const std::wstring& why) const { expect(what, why, folder.file.wstring(), rules); }

    test::settings_folder folder{L"postwarden protected file "};
    access_rules rules{{test::own_account()}};
};

TEST_F(ProtectedFile, IsRead)
{
    folder.write("some text");
    EXPECT_EQ(read(), "some text");
    folder.write("");
    EXPECT_EQ(read(), "");
    folder.write(std::string(largest, 'x'));
    EXPECT_EQ(read(), std::string(largest, 'x'));
}

TEST_F(ProtectedFile, IsRefusedWhenItBelongsToAnotherAccount)
{
    folder.write("some text");
    expect(fault::refused, L": its owner is " + test::own_account(), folder.file.wstring(), access_rules());
}

TEST_F(ProtectedFile, IsRefusedWhenOthersMayChangeIt)
{
    folder.write("some text");
    test::set_list(folder.file, for_everybody);
    expect(fault::refused, L"settings.json: S-1-1-0 may change it");
    test::settings_folder::protect(folder.file);
    EXPECT_EQ(read(), "some text");
}

TEST_F(ProtectedFile, IsRefusedWhenOthersMayChangeItsFolder)
{
    folder.write("some text");
    test::set_list(folder.path, for_everybody);
    expect(fault::refused, folder.path.wstring() + L": S-1-1-0 may change it");
    test::settings_folder::protect(folder.path);
    EXPECT_EQ(read(), "some text");
}

TEST_F(ProtectedFile, IsUnreadableWhenItIsTooLarge)
{
    folder.write(std::string(largest + 1, 'x'));
    expect(fault::unreadable, L": it is larger than 1000 bytes");
}

TEST_F(ProtectedFile, IsUnreadableWhenItIsMissing)
{
    expect(fault::unreadable, folder.file.wstring() + L": it cannot be read (error 2)");
    expect(fault::unreadable, L"cannot be read", (folder.path / L"none" / L"settings.json").wstring(), rules);
}

TEST_F(ProtectedFile, IsUnreadableWhenItIsAFolder)
{
    std::filesystem::create_directory(folder.file);
    test::settings_folder::protect(folder.file);
    expect(fault::unreadable, L": it is a folder");
}

TEST_F(ProtectedFile, NeedsAnAbsolutePath)
{
    for (const wchar_t* path : {L"", L"settings.json", L"C:settings.json", L"\\settings.json", L"C:\\"}) {
        expect(fault::unreadable, L"is no absolute path of a file", path, rules);
    }
}

} // namespace
} // namespace broker
