#include "mail/mime/reading/message_reader.h"
#include "tests/mail/inputs/found_messages.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <future>
#include <sys/stat.h>

namespace host::test {
namespace {

using testing::ElementsAre;

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
    const auto places = found_messages(file);
    ASSERT_EQ(1U, places.size());
    EXPECT_EQ(file.string(), places[0].name());
    EXPECT_EQ("Subject: a\n\nx\n", to_string(*open_message(places[0])));
}

TEST(Mailboxes, HoldTheMessagesOfAnMbox)
{
    const temporary_folder folder;
    const auto places = found_messages(folder.write("box.mbox", two_messages));
    EXPECT_EQ((std::vector<std::string>{"box.mbox#1", "box.mbox#2"}), names(places));
    EXPECT_EQ("Subject: one\n\nFirst.\nFrom here on\n>From there\nFrom the middle of a text\n\n",
              to_string(*open_message(places[0])));
    EXPECT_EQ("Subject: two\n\nSecond.\n", to_string(*open_message(places[1])));
}

TEST(Mailboxes, AreKnownByTheirEnvelopeLinesToo)
{
    const temporary_folder folder;
    EXPECT_EQ(2U, found_messages(folder.write("archive", two_messages)).size());
    // Some programs write a single envelope line before one message.
    EXPECT_EQ(1U, found_messages(folder.write("one.eml", two_messages.substr(0, 60))).size());
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
              names(found_messages(folder.path())));
}

/// Returns the names of all messages, and the reasons for which inputs cannot be read.
std::vector<std::string> names_and_reasons(message_finder& finder)
{
    std::vector<std::string> result;
    for (;;) {
        try {
            const auto place = finder.next();
            if (!place) {
                return result;
            }
            result.push_back(place->file.filename().string() + (place->number == 0 ? "" : "#"));
        } catch (const unreadable_input& problem) {
            result.push_back(std::filesystem::path(problem.name()).filename().string() + ": " + problem.what());
        }
    }
}

std::vector<std::string> names_and_reasons(const std::vector<std::string>& paths, bool recursive = false)
{
    message_finder finder(paths, {recursive, {}});
    return names_and_reasons(finder);
}

TEST(Mailboxes, OfAFolderAreFoundBesideWhatCannotBeRead)
{
    const temporary_folder folder;
    folder.write("b.eml", "Subject: b\n\n");
    std::filesystem::create_symlink(folder.path() / "missing", folder.path() / "a.mbox");
    ASSERT_EQ(0, ::mkfifo((folder.path() / "c.eml").c_str(), 0600)); // reading it would wait for a writer
    EXPECT_THAT(names_and_reasons({folder.path().string()}), ElementsAre("a.mbox: No such file or directory", "b.eml"));
}

TEST(Mailboxes, ThatCannotBeReadSayWhy)
{
    const temporary_folder folder;
    std::filesystem::create_directories(folder.path() / "outer" / "inner");
    folder.write("a.eml", "Subject: a\n\n");
    const auto path = [&folder](const char* name) { return (folder.path() / name).string(); };
    EXPECT_THAT(names_and_reasons({path("missing"), path("a.eml"), path("outer/inner"), path("outer")}),
                ElementsAre("missing: there is no such file or folder", "a.eml",
                            "inner: the folder holds no .eml, .msg or .mbox file",
                            "outer: the folder holds no mail itself; --recursive reads the folders in it too"));
    EXPECT_THAT(names_and_reasons({path("outer")}, true),
                ElementsAre("outer: the folder holds no .eml, .msg or .mbox file"));
}

TEST(Mailboxes, InFoldersThatAreTooDeepAreReportedOnce)
{
    const temporary_folder folder;
    std::filesystem::path inner = folder.path();
    for (int i = 0; i < 105; ++i) {
        inner /= "d";
    }
    std::filesystem::create_directories(inner);
    EXPECT_THAT(names_and_reasons({folder.path().string()}, true),
                ElementsAre("d: the folder is too deep inside of others"));
}

TEST(Mailboxes, AreNotFoundBehindLinksToFolders)
{
    const temporary_folder folder;
    std::filesystem::create_directory(folder.path() / "inner");
    folder.write("inner/a.eml", "Subject: a\n\n");
    std::filesystem::create_directory_symlink(folder.path(), folder.path() / "inner" / "loop");
    std::filesystem::create_directory_symlink(folder.path() / "inner", folder.path() / "link");
    std::filesystem::create_symlink("a.eml", folder.path() / "inner" / "b.eml");
    EXPECT_THAT(names_and_reasons({folder.path().string()}, true), ElementsAre("a.eml", "b.eml"));
    EXPECT_THAT(names_and_reasons({(folder.path() / "link").string()}), ElementsAre("a.eml", "b.eml"));
}

class NamedPipeOfMail : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600)); }
    /// Returns the messages of the pipe, into which `text` is written.
    std::vector<message_place> found(const std::string& text) const
    {
        const auto written = std::async(std::launch::async, [&] { std::ofstream(pipe, std::ios::binary) << text; });
        return found_messages(pipe);
    }

    temporary_folder folder;
    std::filesystem::path pipe = folder.path() / "pipe";
};

TEST_F(NamedPipeOfMail, HoldsTheMessagesOfAnMbox)
{
    const auto places = found(two_messages);
    ASSERT_EQ((std::vector<std::string>{"pipe#1", "pipe#2"}), names(places));
    EXPECT_EQ("Subject: two\n\nSecond.\n", to_string(*open_message(places[1])));
}

TEST_F(NamedPipeOfMail, HoldsOneMessage)
{
    const std::string large = "Subject: a\n\n" + std::string(300000, 'x');
    const auto places = found(large);
    ASSERT_EQ((std::vector<std::string>{"pipe"}), names(places));
    EXPECT_EQ(large, to_string(*open_message(places[0])));
    EXPECT_EQ(mail_format::eml, format_of(places[0]));
}

TEST_F(NamedPipeOfMail, KeepsTheEnvelopeLineOfASingleMessage)
{
    const std::string single = two_messages.substr(0, two_messages.rfind("From "));
    const auto places = found(single);
    ASSERT_EQ((std::vector<std::string>{"pipe"}), names(places));
    EXPECT_EQ(single, to_string(*open_message(places[0])));
}

TEST_F(NamedPipeOfMail, HoldsAnOutlookMessageFileByItsSignature)
{
    const auto places = found("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and more");
    ASSERT_EQ(1U, places.size());
    EXPECT_EQ(mail_format::msg, format_of(places[0]));
}

TEST(MailFormat, FollowsTheContents)
{
    const temporary_folder folder;
    const auto format = [&folder](const char* name, std::string_view text) {
        return format_of(found_messages(folder.write(name, text)).at(0));
    };
    constexpr std::string_view signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
    EXPECT_EQ(mail_format::msg, format("a.eml", signature));
    EXPECT_EQ(mail_format::msg, format("b", signature));
    EXPECT_EQ(mail_format::eml, format("c.msg", "Subject: a\n\nx\n"));
    EXPECT_EQ(mail_format::eml, format("d.msg", "From a@example.com\nSubject: a\n\nx\n"));
    EXPECT_EQ(mail_format::msg, format("e.msg", "some text: without a header"));
    EXPECT_EQ(mail_format::msg, format("f.msg", "\x01\x02:"));
    EXPECT_EQ(mail_format::msg, format("g.msg", ""));
    EXPECT_EQ(mail_format::eml, format("h.eml", "noise"));
}

TEST(Mailboxes, CountTheBytesThatWereRead)
{
    const temporary_folder folder;
    folder.write("a.eml", "Subject: a\n\n");
    folder.write("b.mbox", two_messages);
    message_finder finder({folder.path().string()}, {});
    EXPECT_EQ(0U, finder.position());
    static_cast<void>(finder.next());
    EXPECT_EQ(12U, finder.position());
    static_cast<void>(finder.next());
    EXPECT_LT(12U, finder.position());
    while (finder.next()) {
    }
    EXPECT_EQ(12U + two_messages.size(), finder.position());
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
        for (const auto& place : found_messages(entry.path())) {
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
