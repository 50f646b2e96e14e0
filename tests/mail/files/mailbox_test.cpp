#include "mail/files/mailbox.h"
#include "mail/mime/reading/message_reader.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/support/temporary_folder.h"

#include <fstream>
#include <sys/stat.h>

namespace host::test {
namespace {

std::vector<std::string> names(const std::vector<message_place>& places)
{
    std::vector<std::string> result;
    for (const auto& place : places) {
        result.push_back(std::filesystem::path(place.name()).filename().string());
    }
    return result;
}

const std::string two_messages = "From a@example.com Mon Mar 11 16:42:10 2024\n"
                                 "Subject: one\n\nFirst.\n>From here on\n>>From there\nFrom the middle of a text\n\n"
                                 "From b@example.com Mon Mar 11 16:43:10 2024\n"
                                 "Subject: two\n\nSecond.\n";

TEST(Mailboxes, AreOneMessageAFile)
{
    const temporary_folder folder;
    const auto file = folder.write("a.eml", "Subject: a\n\nx\n");
    const auto places = find_messages(file);
    ASSERT_EQ(1U, places.size());
    EXPECT_EQ(file.string(), places[0].name());
    EXPECT_EQ("Subject: a\n\nx\n", to_string(*open_message(places[0])));
}

TEST(Mailboxes, HoldTheMessagesOfAnMbox)
{
    const temporary_folder folder;
    const auto places = find_messages(folder.write("box.mbox", two_messages));
    EXPECT_EQ((std::vector<std::string>{"box.mbox#1", "box.mbox#2"}), names(places));
    EXPECT_EQ("Subject: one\n\nFirst.\nFrom here on\n>From there\nFrom the middle of a text\n\n",
              to_string(*open_message(places[0])));
    EXPECT_EQ("Subject: two\n\nSecond.\n", to_string(*open_message(places[1])));
}

TEST(Mailboxes, AreKnownByTheirEnvelopeLinesToo)
{
    const temporary_folder folder;
    EXPECT_EQ(2U, find_messages(folder.write("archive", two_messages)).size());
    // Some programs write a single envelope line before one message.
    EXPECT_EQ(1U, find_messages(folder.write("one.eml", two_messages.substr(0, 60))).size());
}

TEST(Mailboxes, OfAFolderAreItsMailFilesByName)
{
    const temporary_folder folder;
    folder.write("b.EML", "Subject: b\n\n");
    folder.write("a.eml", "Subject: a\n\n");
    folder.write("box.mbox", two_messages);
    folder.write("notes.txt", "Subject: no\n\n");
    std::filesystem::create_directory(folder.path() / "inner.eml");
    EXPECT_EQ((std::vector<std::string>{"a.eml", "b.EML", "box.mbox#1", "box.mbox#2"}),
              names(find_messages(folder.path())));
}

TEST(Mailboxes, OfAFolderAreFoundBesideWhatCannotBeRead)
{
    const temporary_folder folder;
    folder.write("b.eml", "Subject: b\n\n");
    std::filesystem::create_symlink(folder.path() / "missing", folder.path() / "a.mbox");
    ASSERT_EQ(0, ::mkfifo((folder.path() / "c.eml").c_str(), 0600)); // opening it would wait for a writer
    const auto places = find_messages(folder.path());
    EXPECT_EQ((std::vector<std::string>{"a.mbox", "b.eml"}), names(places));
    EXPECT_THROW(open_message(places[0]), std::runtime_error);
}

TEST(Mailboxes, ThatCannotBeReadSayWhy)
{
    const temporary_folder folder;
    const auto reason = [](const std::filesystem::path& path) {
        try {
            find_messages(path);
        } catch (const std::runtime_error& problem) {
            return std::string(problem.what());
        }
        return std::string("(found)");
    };
    EXPECT_EQ("there is no such file or folder", reason(folder.path() / "missing"));
    EXPECT_EQ("the folder holds no .eml, .msg or .mbox file", reason(folder.path()));
}

TEST(Mailboxes, OfThePythonTestSuiteAreReadOrRefusedWithAReason)
{
    // Messages that are deliberately hard to read, from the Debian package libpython3.11-testsuite.
    const std::filesystem::path folder = "/usr/lib/python3.11/test/test_email/data";
    std::size_t opened = 0;
    std::size_t refused = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".txt") {
            continue;
        }
        for (const auto& place : find_messages(entry.path())) {
            try {
                const auto message = read_message(open_message(place), place.name(), std::make_shared<store_context>());
                EXPECT_EQ(32U, binary(message, PR_ENTRYID).size());
                ++opened;
            } catch (const unreadable_message& problem) {
                EXPECT_STRNE("", problem.what());
                ++refused;
            }
        }
    }
    EXPECT_GE(opened, 40U);
    EXPECT_LE(refused, 5U);
}

} // namespace
} // namespace host::test
