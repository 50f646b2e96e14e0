#include "mail/files/path_text.h"
#include "mail/inputs/folder_walk.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>

#include <random>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::UnorderedElementsAreArray;
namespace fs = std::filesystem;

constexpr const char* envelope_line = "From a@example.com Mon Mar 11 16:42:10 2024\n";

class FolderWalk : public testing::Test
{
protected:
    void write(const std::string& name, std::string_view text = "Subject: x\n\nx\n") const
    {
        fs::create_directories((folder.path() / name).parent_path());
        folder.write(name, text);
    }
    /// Returns the names of the files in sorted order.
    [[nodiscard]] std::vector<std::string> walk(bool recursive, const std::string& inner = "",
                                                wanted_files wanted = wanted_files::mail) const
    {
        const auto sorted = names_of(walk_order::sorted, recursive, inner, wanted);
        EXPECT_THAT(names_of(walk_order::as_read, recursive, inner, wanted), UnorderedElementsAreArray(sorted));
        return sorted;
    }
    [[nodiscard]] std::vector<std::string> names_of(walk_order order, bool recursive, const std::string& inner,
                                                    wanted_files wanted) const
    {
        const fs::path begin = inner.empty() ? folder.path() : folder.path() / inner;
        folder_walk files(begin, recursive, wanted, order);
        std::vector<std::string> names;
        while (const auto file = files.next()) {
            names.push_back(file->lexically_relative(folder.path()).generic_string());
        }
        return names;
    }
    temporary_folder folder;
};

TEST_F(FolderWalk, ReturnsOwnFilesAndThenThoseOfTheFoldersInIt)
{
    for (const char* name : {"b.eml", "a.MSG", "z.mbox", "notes.txt", "a/2.eml", "a/deep/er/1.eml", "c/1.mbx"}) {
        write(name);
    }
    EXPECT_THAT(walk(false), ElementsAre("a.MSG", "b.eml", "z.mbox"));
    EXPECT_THAT(walk(true), ElementsAre("a.MSG", "b.eml", "z.mbox", "a/2.eml", "a/deep/er/1.eml", "c/1.mbx"));
}

TEST_F(FolderWalk, KnowsMailboxesByTheirFirstLine)
{
    write("Inbox", envelope_line);
    write("2024.archive", envelope_line);
    write("Inbox.msf", "// From 12:30\n");
    write("letter.txt", "From the desk of the editor\n");
    EXPECT_THAT(walk(false), ElementsAre("2024.archive", "Inbox"));
}

TEST_F(FolderWalk, LeavesOutHiddenNames)
{
    for (const char* name : {".a.eml", ".hidden/a.eml", "b.eml"}) {
        write(name);
    }
    EXPECT_THAT(walk(true), ElementsAre("b.eml"));
    EXPECT_THAT(walk(true, ".hidden"), ElementsAre(".hidden/a.eml"));
}

TEST_F(FolderWalk, ReturnsTheMessagesOfAMaildir)
{
    for (const char* name :
         {"new/2.M1.host", "cur/1.M1.host_2,S", "cur/.nfs1", "tmp/3.M1.host", "tmp/9.eml", ".Sent/cur/4.host",
          ".Sent/new/5.host", ".Sent/tmp/6.host", ".not-mail/7.eml", "plain/8.eml", "dovecot-uidlist"}) {
        write(name);
    }
    EXPECT_EQ(folder_kind::maildir, kind_of_folder(folder.path()));
    EXPECT_EQ(folder_kind::maildir, kind_of_folder(folder.path() / ""));
    EXPECT_EQ(folder_kind::maildir_part, kind_of_folder(folder.path() / "new"));
    EXPECT_THAT(walk(false), ElementsAre("cur/1.M1.host_2,S", "new/2.M1.host"));
    EXPECT_THAT(walk(true), ElementsAre(".Sent/cur/4.host", ".Sent/new/5.host", "cur/1.M1.host_2,S", "new/2.M1.host",
                                        "plain/8.eml"));
    EXPECT_THAT(walk(false, "cur"), ElementsAre("cur/1.M1.host_2,S"));
}

TEST_F(FolderWalk, ReturnsTheMessagesOfAnMhFolderByNumber)
{
    for (const char* name : {"10", "9", "100", ",8", "007"}) {
        write("mh/" + std::string(name));
        write("marked/" + std::string(name));
    }
    write("marked/.mh_sequences", "cur: 9\n");
    write("marked/notes");
    write("mixed/1");
    write("mixed/notes");
    EXPECT_EQ(folder_kind::mh, kind_of_folder(folder.path() / "mh"));
    EXPECT_THAT(walk(false, "mh"), ElementsAre("mh/007", "mh/9", "mh/10", "mh/100"));
    EXPECT_THAT(walk(false, "marked"), ElementsAre("marked/007", "marked/9", "marked/10", "marked/100"));
    EXPECT_EQ(folder_kind::plain, kind_of_folder(folder.path() / "mixed"));
    EXPECT_THAT(walk(false, "mixed"), ElementsAre());
}

TEST_F(FolderWalk, ReturnsEveryFileWhereAllAreWanted)
{
    for (const char* name : {"b.pdf", "a", ".hidden", "cur/1", "new/2", "tmp/3"}) {
        write(name);
    }
    EXPECT_THAT(walk(false, "", wanted_files::all), ElementsAre("a", "b.pdf"));
    EXPECT_THAT(walk(true, "", wanted_files::all), ElementsAre("a", "b.pdf", "cur/1", "new/2", "tmp/3"));
}

TEST_F(FolderWalk, ReportsAFolderThatCannotBeReadOnce)
{
    for (const walk_order order : {walk_order::sorted, walk_order::as_read}) {
        folder_walk files(folder.path() / "missing", true, wanted_files::mail, order);
        EXPECT_THROW(files.next(), std::runtime_error);
        EXPECT_EQ(folder.path() / "missing", files.place());
        EXPECT_FALSE(files.next());
    }
}

TEST_F(FolderWalk, EndsWhereFoldersAreTooDeep)
{
    fs::path inner;
    for (int i = 0; i < 105; ++i) {
        inner /= "d";
    }
    fs::create_directories(folder.path() / inner);
    write("d/a.eml");
    folder_walk files(folder.path(), true, wanted_files::mail);
    EXPECT_EQ(folder.path() / "d" / "a.eml", files.next());
    EXPECT_THROW(files.next(), std::runtime_error);
    EXPECT_FALSE(files.next());
}

std::vector<std::string> names_in(const fs::path& folder, name_order order, std::size_t batch)
{
    folder_names names(
        folder, order, [](const auto&) { return true; }, batch);
    std::vector<std::string> found;
    while (const auto name = names.next()) {
        found.push_back(text_of_path(*name));
    }
    EXPECT_FALSE(names.next());
    return found;
}

TEST(FolderNames, AreTheSameForEveryBatch)
{
    const temporary_folder folder;
    std::vector<std::string> by_text;
    std::mt19937 random(1);
    for (int i = 0; i < 200; ++i) {
        by_text.push_back(std::to_string(random() >> (i % 20)));
        folder.write(by_text.back(), "");
    }
    std::sort(by_text.begin(), by_text.end());
    by_text.erase(std::unique(by_text.begin(), by_text.end()), by_text.end());
    std::vector<std::string> by_number = by_text;
    std::sort(by_number.begin(), by_number.end(),
              [](const auto& left, const auto& right) { return std::stoul(left) < std::stoul(right); });
    ASSERT_NE(by_text, by_number);
    for (const std::size_t batch : {1U, 7U, 199U, 200U, 201U, 1000U}) {
        EXPECT_THAT(names_in(folder.path(), name_order::by_text, batch), ElementsAreArray(by_text)) << batch;
        EXPECT_THAT(names_in(folder.path(), name_order::by_number, batch), ElementsAreArray(by_number)) << batch;
        EXPECT_THAT(names_in(folder.path(), name_order::as_read, batch), UnorderedElementsAreArray(by_text)) << batch;
    }
}

} // namespace
} // namespace host::test
