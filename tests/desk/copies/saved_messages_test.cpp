#include "desk/copies/mail_files.h"
#include "desk/copies/saved_messages.h"
#include "mail/msg/compound_file.h"
#include "mail/msg/layout.h"
#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/mail/smime/smime_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* clean_mail = "From: a@example.com\nSubject: Hello\nMessage-ID: <1@example.com>\n\nAll is well.\n";

std::string condemned_mail()
{
    return "From: a@example.com\nSubject: Offer\n\nRun this:\n" + condemned_text() + "\n";
}

std::vector<std::string> names_in(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

message_place place_of(const std::string& file, std::size_t number = 0)
{
    message_place place;
    place.file = file;
    place.number = number;
    return place;
}

TEST(CopyName, IsTheNameOfTheFileWithTheExtensionOfTheForm)
{
    EXPECT_EQ("report.eml", copy_name(place_of("/mail/report.eml"), mail_format::eml));
    EXPECT_EQ("report.msg", copy_name(place_of("report.EML"), mail_format::msg));
    EXPECT_EQ("report.eml", copy_name(place_of("report.msg"), mail_format::eml));
    EXPECT_EQ("report.v2.eml", copy_name(place_of("report.v2.eml"), mail_format::eml));
    EXPECT_EQ("report.txt.eml", copy_name(place_of("report.txt"), mail_format::eml));
    EXPECT_EQ("report.eml", copy_name(place_of("report"), mail_format::eml));
}

TEST(CopyName, NumbersTheMessagesOfAnMbox)
{
    EXPECT_EQ("archive-1.eml", copy_name(place_of("archive.mbox", 1), mail_format::eml));
    EXPECT_EQ("archive-12.msg", copy_name(place_of("archive.mbx", 12), mail_format::msg));
    EXPECT_EQ("inbox-3.eml", copy_name(place_of("inbox", 3), mail_format::eml));
}

TEST(CopyName, IsCutBetweenTwoCharacters)
{
    EXPECT_EQ(std::string(200, 'x') + ".eml", copy_name(place_of(std::string(250, 'x') + ".eml"), mail_format::eml));
    std::string wide;
    for (int i = 0; i < 100; ++i) {
        wide += "\u4EF6"; // three bytes
    }
    EXPECT_EQ(wide.substr(0, 198) + "-7.msg", copy_name(place_of(wide + ".mbox", 7), mail_format::msg));
}

/// Runs "postwarden open" with options that save messages.
class SavedMessages : public testing::Test
{
protected:
    std::string write(const std::string& name, std::string_view text) const
    {
        return folder.write(name, text).string();
    }
    [[nodiscard]] std::string to(const std::string& name = "out") const { return (folder.path() / name).string(); }
    [[nodiscard]] std::string saved(const std::string& name) const { return file_text(folder.path() / "out" / name); }

    temporary_folder folder;
};

/// Makes a message file whose list of properties is cut off behind its subject.
void make_incomplete_msg(const std::filesystem::path& file)
{
    constexpr std::size_t message_header = 32;
    std::string list(message_header, '\0');
    const std::string subject = to_utf16le(L"Half of it");
    for (const std::uint32_t number :
         {std::uint32_t{PR_SUBJECT_W}, 6U, static_cast<std::uint32_t>(subject.size() + 2)}) {
        msg::append_u32(list, number);
    }
    list += std::string(4, '\0') + "cut";
    storage_tree tree{msg::message_class_id, {}, {}};
    tree.streams.push_back({std::string(msg::properties_stream), bytes_of(list)});
    tree.streams.push_back({msg::value_name(PR_SUBJECT_W), bytes_of(subject)});
    msg::write_compound_file(tree, file);
}

TEST_F(SavedMessages, AreCompleteThoughTheirFilesAreNot)
{
    const auto file = folder.path() / "half.msg";
    make_incomplete_msg(file);
    const std::string before = file_text(file);
    for (const char* format : {"msg", "eml"}) {
        const auto result = command({"open", "--json", "--save", to(), "--format", format, file.string()});
        EXPECT_EQ(0, result.status) << result.err;
        const auto warnings = result.json().at(0).at("warnings");
        EXPECT_EQ(nlohmann::json{"a list of properties is cut off"}, warnings);
        const auto again = command({"open", "--json", "--saved", to("out/half.") + format});
        EXPECT_FALSE(again.json().at(0).contains("warnings"));
        EXPECT_EQ("Half of it", again.json().at(0).at("before").at("subject"));
    }
    EXPECT_EQ(before, file_text(file));
}

TEST_F(SavedMessages, DoNotReplaceTheIncompleteFilesThatTheyComeFrom)
{
    const auto file = folder.path() / "half.msg";
    make_incomplete_msg(file);
    const std::string before = file_text(file);
    const message_record message =
        read_mail(place_of(file.string()), std::make_shared<store_context>(), written_by::anyone);
    EXPECT_THROW(write_mail(message, mail_format::msg, file), std::runtime_error);
    EXPECT_THROW(write_mail(message, mail_format::eml, file), std::runtime_error);
    EXPECT_EQ(before, file_text(file));
}

TEST_F(SavedMessages, AreWrittenInTheirOwnFormIntoAFolderThatIsMade)
{
    const auto result = command({"open", "--save", to("a/b"), write("one.eml", clean_mail)});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(names_in(to("a/b")), ElementsAre("one.eml"));
    EXPECT_THAT(file_text(to("a/b") + "/one.eml"), HasSubstr("Subject: Hello"));
    EXPECT_THAT(result.out, HasSubstr("; 1 saved in " + to("a/b")));
    EXPECT_EQ(0, command({"open", "--save", to("msg"), "--format", "msg", write("one.eml", clean_mail)}).status);
    EXPECT_THAT(names_in(to("msg")), ElementsAre("one.msg"));
    EXPECT_EQ(0, command({"open", "--save", to("again"), to("msg")}).status);
    EXPECT_THAT(names_in(to("again")), ElementsAre("one.msg"));
    EXPECT_EQ(0, command({"open", "--save", to("back"), "--format", "eml", to("again")}).status);
    EXPECT_THAT(file_text(to("back") + "/one.eml"), HasSubstr("Subject: Hello"));
}

TEST_F(SavedMessages, TakeOtherNamesThanWhatIsThere)
{
    std::filesystem::create_directory(to());
    folder.write("out/one.eml", "mine");
    std::filesystem::create_directory(to() + "/one-2.eml");
    std::filesystem::create_symlink(folder.path() / "elsewhere", to() + "/one-3.eml");
    EXPECT_EQ(0, command({"open", "--save", to(), write("one.eml", clean_mail)}).status);
    EXPECT_EQ("mine", saved("one.eml"));
    EXPECT_THAT(saved("one-4.eml"), HasSubstr("Subject: Hello"));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "elsewhere"));
    EXPECT_EQ(4U, names_in(to()).size());
}

TEST_F(SavedMessages, OfOneNameOrOneMboxStayApart)
{
    std::filesystem::create_directory(to("other"));
    const std::string envelope = "From a@example.com Mon Mar 11 16:42:10 2024\n";
    const auto result =
        command({"open", "--save", to(), write("one.eml", clean_mail), write("other/one.eml", condemned_mail()),
                 write("box.mbox", envelope + clean_mail + "\n" + envelope + clean_mail)});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(names_in(to()), ElementsAre("box-1.eml", "box-2.eml", "one-2.eml", "one.eml"));
    EXPECT_THAT(saved("one-2.eml"), HasSubstr("original_body.txt"));
    EXPECT_THAT(saved("one.eml"), testing::Not(HasSubstr("original_body.txt")));
}

TEST_F(SavedMessages, CanGoWhereTheSourcesAre)
{
    const auto file = write("one.eml", clean_mail);
    EXPECT_EQ(0, command({"open", "--save", folder.path().string(), file}).status);
    EXPECT_EQ(clean_mail, file_text(file));
    EXPECT_THAT(names_in(folder.path()), ElementsAre("one-2.eml", "one.eml"));
}

TEST_F(SavedMessages, AreThoseOfTheFirstOpening)
{
    EXPECT_EQ(0, command({"open", "--save", to(), "--times", "3", write("one.eml", condemned_mail())}).status);
    EXPECT_THAT(names_in(to()), ElementsAre("one.eml"));
    EXPECT_THAT(saved("one.eml"), HasSubstr("original_body.txt"));
}

TEST_F(SavedMessages, HoldTheVerdictSoThatNobodyIsAskedAgain)
{
    for (const std::string form : {"eml", "msg"}) {
        const auto file = write("one.eml", condemned_mail());
        const auto first = command({"open", "--json", "--save", to(form), "--format", form, file});
        ASSERT_EQ(0, first.status) << first.err;
        // No program listens on this port: a message without a known verdict would stay unjudged.
        const auto again = command({"open", "--json", "--saved", "--port", closed_port(), to(form)});
        const auto line = again.json().at(0);
        EXPECT_EQ(2, line["verdict"]) << form;
        EXPECT_EQ("opened", line["display"]) << form;
        EXPECT_EQ(2, line["before"]["verdict_property"]) << form;
        EXPECT_EQ(line["before"], line["after"]) << form;
    }
}

TEST_F(SavedMessages, AreWhatReopenStartsFrom)
{
    for (const std::string form : {"eml", "msg"}) {
        const auto result = command(
            {"open", "--json", "--reopen", "--times", "3", "--format", form, write("one.eml", condemned_mail())});
        const auto lines = result.json();
        ASSERT_EQ(3U, lines.size()) << result.err;
        EXPECT_TRUE(lines[0]["before"]["verdict_property"].is_null());
        for (const std::size_t i : {1U, 2U}) {
            EXPECT_EQ(2, lines[i]["before"]["verdict_property"]) << form;
            EXPECT_EQ(3, lines[i]["before"]["body_type"]) << form;
            EXPECT_EQ("opened", lines[i]["display"]) << form;
            EXPECT_EQ(lines[i]["before"], lines[i]["after"]) << form;
        }
        EXPECT_EQ(lines[1]["after"], lines[2]["before"]) << form;
    }
}

TEST_F(SavedMessages, AreReopenedTwiceUnlessMoreIsAsked)
{
    const auto file = write("one.eml", clean_mail);
    EXPECT_EQ(2U, command({"open", "--json", "--reopen", file}).json().size());
    EXPECT_EQ(4U, command({"open", "--json", "--reopen", "--times", "4", file}).json().size());
}

TEST_F(SavedMessages, OfReopenAloneLeaveNothingBehind)
{
    const auto count = [] {
        std::size_t found = 0;
        for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
            found += entry.path().filename().string().starts_with("postwarden-") ? 1 : 0;
        }
        return found;
    };
    const std::size_t before = count();
    const auto result = command({"open", "--reopen", write("one.eml", condemned_mail())});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(before, count());
    EXPECT_THAT(result.out, testing::Not(HasSubstr("saved in")));
}

TEST_F(SavedMessages, WithoutTheVerdictAreBlockedAtTheSecondOpening)
{
    const auto result = command({"open", "--json", "--reopen", "--save", to(), "--registry", "KeepVerdictInEmail=1",
                                 write("one.eml", condemned_mail())});
    const auto lines = result.json();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ("opened", lines[0]["display"]);
    EXPECT_TRUE(lines[0]["after"]["verdict_property"].is_null());
    // The copy contains the changes. The verdict is in memory only.
    EXPECT_EQ(3, lines[1]["before"]["body_type"]);
    EXPECT_TRUE(lines[1]["before"]["verdict_property"].is_null());
    EXPECT_EQ("blocked", lines[1]["display"]);
    EXPECT_EQ(2, lines[1]["verdict"]);
    // A client that is started later has no verdict in memory and finds the old text, which was kept.
    const auto later = command({"open", "--json", "--saved", to()}).json().at(0);
    EXPECT_EQ("opened", later["display"]);
    EXPECT_EQ(2, later["verdict"]);
    const auto is_notice = [](const nlohmann::json& entry) { return entry["name"] == "original_body.txt.htm"; };
    const auto& list = later["after"]["attachments"];
    EXPECT_EQ(1, std::count_if(list.begin(), list.end(), is_notice));
}

TEST_F(SavedMessages, AreBelievedOnlyWhereTheUserSaysThatTheyAreOurs)
{
    EXPECT_EQ(0, command({"open", "--save", to(), write("one.eml", clean_mail)}).status);
    std::string text = saved("one.eml");
    const std::size_t body = text.find("All is well.");
    ASSERT_NE(std::string::npos, body);
    const auto forged = write("forged.eml", text.replace(body, 12, condemned_text()));
    EXPECT_EQ(2, command({"open", "--json", forged}).json().at(0)["verdict"]);
    EXPECT_TRUE(command({"open", "--json", forged}).json().at(0)["before"]["verdict_property"].is_null());
    EXPECT_EQ(1, command({"open", "--json", "--saved", forged}).json().at(0)["verdict"]);
}

TEST_F(SavedMessages, ThatCannotBeWrittenAreToldAndTheRestIsDone)
{
    const auto blocked = write("file", "");
    const auto inside = command({"open", "--save", blocked + "/out", write("one.eml", clean_mail)});
    EXPECT_EQ(1, inside.status);
    EXPECT_THAT(inside.err, StartsWith("postwarden: " + blocked + "/out: "));
    const auto file = command({"open", "--save", blocked, write("one.eml", clean_mail)});
    EXPECT_EQ(1, file.status);
    EXPECT_EQ("", file.out);
    EXPECT_EQ("", file_text(blocked));
}

TEST_F(SavedMessages, OfEncryptedMailStayEncrypted)
{
    const key_pair keys("ben");
    const auto mail = write("sealed.eml", encrypted(text_entity("Inside."), {keys.certificate()}));
    for (const std::string form : {"eml", "msg"}) {
        const auto first = command({"open", "--json", "--save", to(form), "--format", form, "--smime-key", keys.key(),
                                    "--smime-cert", keys.certificate(), mail});
        ASSERT_EQ(0, first.status) << first.err;
        EXPECT_EQ("", first.err);
        EXPECT_EQ(1, first.json().at(0)["verdict"]);
        for (const auto& name : names_in(to(form))) {
            EXPECT_THAT(file_text(to(form) + "/" + name), testing::Not(HasSubstr("Inside.")));
        }
        const auto again = command({"open", "--json", "--saved", "--port", closed_port(), "--smime-key", keys.key(),
                                    "--smime-cert", keys.certificate(), to(form)});
        EXPECT_EQ(1, again.json().at(0)["verdict"]) << form;
        EXPECT_EQ("IPM.Note.SMIME", again.json().at(0)["before"]["message_class"]) << form;
        EXPECT_EQ(first.json().at(0)["after"]["attachments"][0]["sha256"],
                  again.json().at(0)["before"]["attachments"][0]["sha256"])
            << form;
        EXPECT_THAT(command({"open", to(form)}).err, HasSubstr("its contents stay closed"));
    }
}

TEST_F(SavedMessages, OfCondemnedEncryptedMailOpenPlainAndSendNothing)
{
    const key_pair keys("ben");
    const auto mail = write("sealed.eml", encrypted(text_entity(condemned_text()), {keys.certificate()}));
    for (const std::string form : {"eml", "msg"}) {
        const auto first = command({"open", "--json", "--save", to(form), "--format", form, "--smime-key", keys.key(),
                                    "--smime-cert", keys.certificate(), mail});
        ASSERT_EQ(0, first.status) << first.err;
        const auto line = first.json().at(0);
        EXPECT_EQ("blocked", line["display"]);
        EXPECT_EQ("IPM.Note.SMIME", line["before"]["message_class"]);
        EXPECT_EQ("IPM.Note", line["after"]["message_class"]);
        const auto again = command({"open", "--json", "--saved", "--port", closed_port(), to(form)});
        const auto reopened = again.json().at(0);
        EXPECT_EQ("opened", reopened["display"]) << form;
        EXPECT_EQ(2, reopened["verdict"]) << form;
        EXPECT_EQ("IPM.Note", reopened["before"]["message_class"]) << form;
        EXPECT_EQ(3, reopened["before"]["body_type"]) << form;
        EXPECT_THAT(again.err, testing::Not(HasSubstr("stay closed"))) << form;
        EXPECT_EQ(reopened["before"], reopened["after"]) << form;
    }
}

TEST_F(SavedMessages, AskForOptionsThatFit)
{
    const auto file = write("one.eml", clean_mail);
    const auto refused = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "open");
        arguments.push_back(file);
        const auto result = command(arguments);
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_THAT(result.err, StartsWith("postwarden: "));
        return result.err;
    };
    EXPECT_THAT(refused({"--format", "msg"}), HasSubstr("--save or --reopen"));
    EXPECT_THAT(refused({"--format", "pst", "--save", to()}), HasSubstr("pst"));
    EXPECT_THAT(refused({"--save", ""}), HasSubstr("--save needs a folder"));
    EXPECT_THAT(refused({"--reopen", "--times", "1"}), HasSubstr("twice at least"));
    EXPECT_THAT(refused({"--smime-key", file}), HasSubstr("--smime-cert"));
    EXPECT_THAT(refused({"--smime-cert", file}), HasSubstr("--smime-key"));
    EXPECT_THAT(refused({"--smime-key", file, "--smime-cert", file}), HasSubstr("no private key in PEM form"));
    EXPECT_FALSE(std::filesystem::exists(to()));
}

TEST_F(SavedMessages, OfBrokenOutlookFilesAreNeverWritten)
{
    const auto broken = write("broken.msg", std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(600, 'x'));
    const auto noise = write("noise.msg", "noise");
    const auto result = command({"open", "--save", to(), broken, noise});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(2U, lines_of(result.err).size());
    EXPECT_TRUE(names_in(to()).empty());
    EXPECT_EQ("noise", file_text(noise));
}

TEST_F(SavedMessages, HaveTheFormOfTheContentsAndNotOfTheName)
{
    const auto renamed = write("text.msg", clean_mail);
    EXPECT_EQ(0, command({"open", "--save", to(), renamed}).status);
    EXPECT_THAT(names_in(to()), testing::ElementsAre("text.eml"));
    EXPECT_EQ(clean_mail, file_text(renamed));
}

} // namespace
} // namespace host::test
