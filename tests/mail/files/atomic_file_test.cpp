#include "mail/files/atomic_file.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <iterator>
#include <stdexcept>

namespace host::test {
namespace {

namespace fs = std::filesystem;

class AtomicFile : public testing::Test
{
protected:
    static std::string contents_of(const fs::path& file)
    {
        std::ifstream input(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    }
    [[nodiscard]] std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(folder.path()), {}); }
    static void fill(const fs::path& file, std::string_view text) { std::ofstream(file, std::ios::binary) << text; }

    temporary_folder folder;
    fs::path target = folder.path() / "report.eml";
};

TEST_F(AtomicFile, IsThereWholeAndAlone)
{
    write_atomically(target, [&](const fs::path& temporary) {
        EXPECT_EQ(folder.path(), temporary.parent_path());
        EXPECT_TRUE(fs::exists(temporary));
        EXPECT_FALSE(fs::exists(target));
        fill(temporary, "text");
    });
    EXPECT_EQ("text", contents_of(target));
    EXPECT_EQ(1, files());
}

TEST_F(AtomicFile, TakesThePlaceOfAnOldOneAtOnce)
{
    fill(target, "old");
    write_atomically(target, [&](const fs::path& temporary) {
        fill(temporary, "new");
        EXPECT_EQ("old", contents_of(target));
    });
    EXPECT_EQ("new", contents_of(target));
    EXPECT_EQ(1, files());
}

TEST_F(AtomicFile, LeavesNothingBehindWhenWritingFails)
{
    fill(target, "old");
    EXPECT_THROW(write_atomically(target,
                                  [](const fs::path& temporary) {
                                      fill(temporary, "half");
                                      throw std::runtime_error("no more");
                                  }),
                 std::runtime_error);
    EXPECT_EQ("old", contents_of(target));
    EXPECT_EQ(1, files());
}

TEST_F(AtomicFile, SaysWhyAFolderTakesNoFile)
{
    const fs::path missing = folder.path() / "none" / "report.eml";
    EXPECT_THROW(write_atomically(missing, [](const fs::path&) { FAIL() << "there is nothing to write to"; }),
                 fs::filesystem_error);
    fill(target, "a file");
    EXPECT_THROW(write_atomically(target / "report.eml", [](const fs::path&) { FAIL() << "a file is no folder"; }),
                 fs::filesystem_error);
}

TEST_F(AtomicFile, TakesTheNameOfNothingButAFile)
{
    fs::create_directory(target);
    try {
        write_atomically(target, [](const fs::path&) { FAIL() << "a folder is no file"; });
        FAIL() << "was written";
    } catch (const fs::filesystem_error& problem) {
        EXPECT_EQ(std::errc::is_a_directory, problem.code());
    }
    EXPECT_TRUE(fs::is_directory(target));
}

TEST_F(AtomicFile, LeavesAFileAloneThatMayNotBeWritten)
{
    fill(target, "precious");
    fs::permissions(target, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    bool refused = false;
    try {
        write_atomically(target, [](const fs::path& temporary) { fill(temporary, "new"); });
    } catch (const fs::filesystem_error&) {
        refused = true;
    }
    EXPECT_EQ(refused ? "precious" : "new", contents_of(target)); // the superuser may write to any file
    EXPECT_EQ(1, files());
    fs::permissions(target, fs::perms::owner_write, fs::perm_options::add);
}

} // namespace
} // namespace host::test
