#include "desk/run/console.h"
#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <map>

namespace host::test {
namespace {

using testing::HasSubstr;

constexpr const char* clean_mail = "From: a@example.com\nSubject: Hello\nMessage-ID: <1@example.com>\n\nAll is well.\n";

std::string condemned_mail()
{
    return "From: a@example.com\nSubject: Offer\n\nRun this:\n" + condemned_text() + "\n";
}

class OpenCommand : public testing::Test
{
protected:
    std::string write(const std::string& name, std::string_view text) const
    {
        return folder.write(name, text).string();
    }
    temporary_folder folder;
};

std::vector<std::string> keys(const nlohmann::json& object)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : object.items()) {
        names.push_back(name);
    }
    return names;
}

TEST_F(OpenCommand, TellsEveryFieldOfAnOpeningInJson)
{
    const auto file = write("a.eml", clean_mail);
    const auto result = command({"open", "--json", file});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    const auto lines = result.json();
    ASSERT_EQ(1U, lines.size());
    const auto& line = lines[0];
    EXPECT_THAT(keys(line), testing::UnorderedElementsAre("file", "opening", "hr", "verdict", "display", "elapsed_ms",
                                                          "answered", "before", "after"));
    EXPECT_EQ(file, line["file"]);
    EXPECT_EQ(1, line["opening"]);
    EXPECT_EQ("0x00000000", line["hr"]);
    EXPECT_EQ(1, line["verdict"]);
    EXPECT_EQ("opened", line["display"]);
    EXPECT_TRUE(line["elapsed_ms"].is_number_unsigned());
    for (const char* side : {"before", "after"}) {
        EXPECT_THAT(keys(line[side]),
                    testing::UnorderedElementsAre("subject", "message_class", "body_type", "body_sha256", "html_sha256",
                                                  "verdict_property", "attachments"));
        EXPECT_EQ("Hello", line[side]["subject"]);
        EXPECT_EQ("IPM.Note", line[side]["message_class"]);
        EXPECT_EQ(1, line[side]["body_type"]);
        EXPECT_EQ("fc80289eb34ab098f0c1f85504d2a028dc9365f8544d61bc6f8d2e6b43a187ec", line[side]["body_sha256"]);
        EXPECT_TRUE(line[side]["html_sha256"].is_null());
        EXPECT_TRUE(line[side]["attachments"].empty());
    }
    EXPECT_TRUE(line["before"]["verdict_property"].is_null());
    EXPECT_EQ(1, line["after"]["verdict_property"]);
}

TEST_F(OpenCommand, TellsEveryFieldOfAnAttachmentInJson)
{
    const auto result =
        command({"open", "--json",
                 write("a.eml", "Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n\n"
                                "<img src=\"cid:i@x\">\n--b\nContent-Type: image/png; name=i.png\n"
                                "Content-ID: <i@x>\n\nabc\n--b\nContent-Type: message/rfc822\n\nSubject: in\n\nx\n"
                                "--b--\n")});
    const auto list = result.json().at(0)["before"]["attachments"];
    ASSERT_EQ(2U, list.size());
    EXPECT_THAT(keys(list[0]), testing::UnorderedElementsAre("number", "name", "method", "mime_tag", "content_id",
                                                             "hidden", "size", "sha256"));
    EXPECT_EQ(0, list[0]["number"]);
    EXPECT_EQ("i.png", list[0]["name"]);
    EXPECT_EQ(1, list[0]["method"]);
    EXPECT_EQ("image/png", list[0]["mime_tag"]);
    EXPECT_EQ("i@x", list[0]["content_id"]);
    EXPECT_EQ(true, list[0]["hidden"]);
    EXPECT_EQ(3, list[0]["size"]);
    EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", list[0]["sha256"]);
    EXPECT_EQ("in", list[1]["name"]);
    EXPECT_EQ(5, list[1]["method"]);
    EXPECT_EQ(false, list[1]["hidden"]);
    EXPECT_EQ(64U, list[1]["sha256"].get<std::string>().size());
}

TEST_F(OpenCommand, GoesOnBehindWhatCannotBeRead)
{
    const auto result = command({"open", "--json", write("empty.eml", ""), (folder.path() / "missing").string(),
                                 write("noise.eml", std::string("\0\1\2\3", 4)), write("a.eml", clean_mail)});
    EXPECT_EQ(3, result.status);
    ASSERT_EQ(1U, result.json().size());
    EXPECT_EQ(1, result.json()[0]["verdict"]);
    const auto errors = lines_of(result.err);
    ASSERT_EQ(3U, errors.size());
    for (const auto& error : errors) {
        EXPECT_THAT(error, testing::MatchesRegex("postwarden: .+: .+"));
    }
}

TEST_F(OpenCommand, OpensUnscannedWhereNoServiceAnswers)
{
    const auto result = command({"open", "--json", "--port", closed_port(), write("a.eml", condemned_mail())});
    EXPECT_EQ(4, result.status);
    ASSERT_EQ(1U, result.json().size());
    EXPECT_EQ(0, result.json()[0]["verdict"]);
    EXPECT_EQ("opened", result.json()[0]["display"]);
    EXPECT_EQ("0x00000000", result.json()[0]["hr"]);
    EXPECT_THAT(result.err, HasSubstr("no scanning service answers"));
}

TEST_F(OpenCommand, UsesTheServiceThatIsAskedFor)
{
    service::server_options options;
    options.uri = "other/path";
    service::scan_server server(options);
    server.start();
    const auto port = std::to_string(server.port());
    const auto file = write("a.eml", condemned_mail());
    const auto result = command({"open", "--json", "--port", port, "--uri", "/other/path", file});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(2, result.json().at(0)["verdict"]);
    EXPECT_EQ(4, command({"open", "--json", "--port", port, "--uri", "elsewhere", file}).status);
}

TEST_F(OpenCommand, OpensAsOftenAsAskedInOneProcess)
{
    const auto result = command({"open", "--json", "--times", "3", write("a.eml", clean_mail)});
    const auto lines = result.json();
    ASSERT_EQ(3U, lines.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(i + 1, lines[static_cast<std::size_t>(i)]["opening"]);
        EXPECT_EQ(1, lines[static_cast<std::size_t>(i)]["verdict"]);
        // The message was not saved, so the property of the first opening is lost.
        EXPECT_TRUE(lines[static_cast<std::size_t>(i)]["before"]["verdict_property"].is_null());
    }
}

TEST_F(OpenCommand, BlocksACondemnedMessageThatSaysNothingOfIt)
{
    const auto result = command(
        {"open", "--json", "--times", "2", "--registry", "KeepVerdictInEmail=1", write("a.eml", condemned_mail())});
    const auto lines = result.json();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ("opened", lines[0]["display"]);
    EXPECT_TRUE(lines[0]["after"]["verdict_property"].is_null());
    EXPECT_EQ("blocked", lines[1]["display"]);
    EXPECT_EQ(2, lines[1]["verdict"]);
}

TEST_F(OpenCommand, ReadsAnMboxAndAFolder)
{
    const std::string envelope = "From a@example.com Mon Mar 11 16:42:10 2024\n";
    write("box.mbox", envelope + clean_mail + "\n" + envelope + condemned_mail());
    write("b.eml", clean_mail);
    const auto lines = command({"open", "--json", folder.path().string()}).json();
    ASSERT_EQ(3U, lines.size());
    EXPECT_THAT(lines[0]["file"].get<std::string>(), testing::EndsWith("b.eml"));
    EXPECT_THAT(lines[1]["file"].get<std::string>(), testing::EndsWith("box.mbox#1"));
    EXPECT_EQ(2, lines[2]["verdict"]);
}

TEST_F(OpenCommand, WritesAPageAboutItsOpenings)
{
    const auto mail = write("mail.eml", "From: a@example.com\nSubject: Of <the> page\n\nbody\n");
    const auto page = (folder.path() / "out.html").string();
    EXPECT_EQ(3, command({"open", "--report", page, mail, (folder.path() / "none.eml").string()}).status);
    std::ifstream input(page, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(input), {}};
    EXPECT_THAT(text, HasSubstr("<bdi>Of &lt;the&gt; page</bdi><td><bdi>a@example.com</bdi><td><b>clean</b>"));
    EXPECT_THAT(text, HasSubstr("1 opening: nothing was condemned, 0 messages changed."));
    EXPECT_TRUE(text.ends_with("</footer>\n"));
}

TEST_F(OpenCommand, EndsWithTheFailureOfItsPage)
{
    const auto mail = write("mail.eml", "Subject: a\n\nbody\n");
    const auto nowhere = command({"open", "--report", (folder.path() / "none" / "out.html").string(), mail});
    EXPECT_EQ(1, nowhere.status);
    EXPECT_THAT(nowhere.err, HasSubstr("out.html: there is no such folder"));
    EXPECT_EQ("", nowhere.out);
    EXPECT_EQ(1, command({"open", "--report", folder.path().string(), mail}).status);
}

TEST_F(OpenCommand, LogsToAFileUpToALevel)
{
    const auto log = folder.path() / "check.log";
    const auto file = write("a.eml", clean_mail);
    EXPECT_EQ(0, command({"open", "--log", log.string(), file}).status);
    const std::string course = file_text(log);
    EXPECT_THAT(course, HasSubstr("Checking mail body"));
    EXPECT_THAT(course, testing::Not(HasSubstr("Scan session manager has been created")));
    const auto detailed = folder.path() / "detail.log";
    EXPECT_EQ(0, command({"open", "--log", detailed.string(), "--log-level", "500", file}).status);
    EXPECT_THAT(file_text(detailed), HasSubstr("Scan session manager has been created"));
}

TEST_F(OpenCommand, TakesTheTraceConfigurationFromTheRegistry)
{
    const auto log = folder.path() / "trace.log";
    EXPECT_EQ(
        0, command({"open", "--registry", "Configuration=level=400; file=" + log.string(), write("a.eml", clean_mail)})
               .status);
    EXPECT_THAT(file_text(log), HasSubstr("Checking mail body"));
}

TEST_F(OpenCommand, ShowsATableThatIsAlignedInEveryAlphabet)
{
    write("\u0434\u043E\u0433\u043E\u0432\u043E\u0440.eml", clean_mail);
    write("\u5FA1\u898B\u7A4D\u66F8.eml", condemned_mail());
    write("plain.eml", clean_mail);
    const auto result = command({"open", folder.path().string()});
    EXPECT_EQ(0, result.status);
    const auto lines = lines_of(result.out);
    ASSERT_EQ(6U, lines.size()); // a heading, three openings, an empty line, the summary
    const auto column = [](const std::string& line, const std::string& word) {
        return columns_of(line.substr(0, line.find(word)));
    };
    const std::size_t verdicts = column(lines[0], "VERDICT");
    const std::size_t displays = column(lines[0], "DISPLAY");
    std::size_t condemned = 0;
    for (std::size_t i = 1; i <= 3; ++i) {
        const bool bad = lines[i].find("condemned") != std::string::npos;
        condemned += bad ? 1 : 0;
        EXPECT_EQ(verdicts, column(lines[i], bad ? "condemned" : "clean")) << lines[i];
        EXPECT_EQ(displays, column(lines[i], "opened")) << lines[i];
    }
    EXPECT_EQ(1U, condemned);
    EXPECT_THAT(lines[5], testing::StartsWith("3 openings in "));
    EXPECT_THAT(lines[5], HasSubstr("2 clean, 1 condemned, 0 repaired, 0 not judged"));
}

TEST_F(OpenCommand, CountsWhatCouldNotBeReadInTheSummary)
{
    const auto result = command({"open", write("a.eml", clean_mail), write("b.eml", "")});
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.out, HasSubstr("1 could not be read"));
}

TEST_F(OpenCommand, TellsRepairedBodiesAndKeepsTheRepair)
{
    const auto file = write("a.eml", "Subject: a\n\nbefore " + repairable_text() + " after\n");
    const auto line = command({"open", "--json", file}).json().at(0);
    EXPECT_EQ(3, line["verdict"]);
    EXPECT_NE(line["before"]["body_sha256"], line["after"]["body_sha256"]);
    EXPECT_THAT(command({"open", file}).out, HasSubstr("repaired"));
}

TEST_F(OpenCommand, OpensOrRefusesEveryMessageOfThePythonTestSuite)
{
    std::vector<std::string> arguments{"open", "--json"};
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/python3.11/test/test_email/data")) {
        if (entry.path().extension() == ".txt") {
            arguments.push_back(entry.path().string());
            ++files;
        }
    }
    const auto result = command(arguments);
    EXPECT_TRUE(result.status == 0 || result.status == 3) << result.status;
    EXPECT_GE(result.json().size() + lines_of(result.err).size(), files);
    for (const auto& line : result.json()) {
        EXPECT_EQ("0x00000000", line["hr"]) << line["file"];
    }
}

/// The sample mailbox, generated once.
class SampleMailbox : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        folder_ = new temporary_folder; // deleted at the end of the suite
        const std::string make = "python3 '" SAMPLES_FOLDER "/make_samples.py' '" + folder_->path().string() + "'";
        ASSERT_EQ(0, std::system((make + " > /dev/null").c_str()));
        result_ = new command_result(command({"open", "--json", folder_->path().string()}));
    }
    static void TearDownTestSuite()
    {
        delete result_;
        delete folder_;
    }
    static temporary_folder* folder_;
    static command_result* result_;
};

temporary_folder* SampleMailbox::folder_ = nullptr;
command_result* SampleMailbox::result_ = nullptr;

TEST_F(SampleMailbox, GetsTheVerdictsThatItsMessagesDeserve)
{
    const std::map<std::string, int> other_than_clean{{"16-attachment-only.eml", 0},
                                                      {"25-condemned-body.eml", 2},
                                                      {"26-condemned-html-body.eml", 2},
                                                      {"27-condemned-attachment.eml", 2},
                                                      {"28-condemned-body-and-attachment.eml", 2},
                                                      {"29-condemned-forward.eml", 2},
                                                      {"31-repairable-body.eml", 3}};
    EXPECT_EQ(0, result_->status) << result_->err;
    const auto lines = result_->json();
    EXPECT_EQ(36U, lines.size());
    for (const auto& line : lines) {
        const std::string name = std::filesystem::path(line["file"].get<std::string>()).filename().string();
        const auto found = other_than_clean.find(name);
        EXPECT_EQ(found == other_than_clean.end() ? 1 : found->second, line["verdict"]) << name;
        EXPECT_EQ("opened", line["display"]) << name;
        EXPECT_EQ("0x00000000", line["hr"]) << name;
    }
}

TEST_F(SampleMailbox, ShowsNamesInEveryAlphabet)
{
    std::map<std::string, nlohmann::json> by_name;
    for (const auto& line : result_->json()) {
        by_name[std::filesystem::path(line["file"].get<std::string>()).filename().string()] = line["before"];
    }
    const auto& cyrillic = by_name.at("12-cyrillic-koi8.eml");
    EXPECT_EQ("\u0414\u043E\u0433\u043E\u0432\u043E\u0440 \u043F\u043E\u0441\u0442\u0430\u0432\u043A\u0438.pdf",
              cyrillic["attachments"][0]["name"]);
    EXPECT_EQ("\u5FA1\u898B\u7A4D\u66F8.docx", by_name.at("13-japanese-iso2022.eml")["attachments"][0]["name"]);
    EXPECT_EQ("IPM.Schedule.Meeting.Request", by_name.at("09-meeting-request.eml")["message_class"]);
    EXPECT_EQ("IPM.Schedule.Meeting.Resp.Pos", by_name.at("10-meeting-reply.eml")["message_class"]);
    EXPECT_EQ("IPM.Task", by_name.at("11-task-request.eml")["message_class"]);
    EXPECT_EQ(101U, by_name.at("20-hundred-and-one-attachments.eml")["attachments"].size());
    EXPECT_EQ(true, by_name.at("05-photo-inline-image.eml")["attachments"][0]["hidden"]);
}

TEST_F(SampleMailbox, IsRefusedWhereItIsUnreadable)
{
    const auto result = command({"open", "--json", (folder_->path() / "unreadable").string()});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(2U, lines_of(result.err).size());
}

TEST(GeneratedMail, OpensInNumbersAndIsReproducible)
{
    const temporary_folder first;
    const temporary_folder second;
    for (const temporary_folder* folder : {&first, &second}) {
        const std::string make = "python3 '" SAMPLES_FOLDER "/make_samples.py' '" + folder->path().string() +
                                 "' --count 60 --seed 7 > /dev/null";
        ASSERT_EQ(0, std::system(make.c_str()));
    }
    const auto result = command({"open", "--json", first.path().string()}, true);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(60U, result.json().size());
    EXPECT_THAT(result.err, HasSubstr(" of 60")); // the bar
    for (const auto& line : result.json()) {
        const std::filesystem::path file = line["file"].get<std::string>();
        EXPECT_EQ(file_text(file), file_text(second.path() / file.filename()));
    }
}

} // namespace
} // namespace host::test
