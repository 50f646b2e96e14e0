// What a sender can write into a mail to have it opened unscanned, and what hardened scanning makes of it.

#include "desk/run/console.h"
#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tool/system/base64.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace host::test {
namespace {

using testing::HasSubstr;

struct trick
{
    const char* name;
    std::string mail;
};

std::string mail_with_id(const std::string& id)
{
    return "From: a@example.com\nSubject: Offer\nMessage-ID: " + id + "\n\nRun this:\n" + condemned_text() + "\n";
}

std::string mail_with_attachment_of(const std::string& type, const std::string& name)
{
    return "From: a@example.com\nSubject: Offer\nMessage-ID: <1@example.com>\nMIME-Version: 1.0\n"
           "Content-Type: multipart/mixed; boundary=\"line\"\n\n--line\nContent-Type: text/plain\n\nSee there.\n"
           "--line\nContent-Type: " +
           type + "\nContent-Disposition: attachment; filename=\"" + name + "\"\n\n" + condemned_text() +
           "\n--line--\n";
}

std::vector<trick> tricks()
{
    const std::string lines = winapi::base64::encode("<a\r\nEncapsulated: null-body=0\r\n\r\n@example.com>");
    return {
        {"control character", mail_with_id("<a\x01@example.com>")},
        {"end of a request line", mail_with_id("<a HTTP/1.1 b@example.com>")},
        {"line ends in an encoded word", mail_with_id("=?utf-8?B?" + lines + "?=")},
        {"long attachment name", mail_with_attachment_of("application/octet-stream", std::string(13000, 'n') + ".com")},
        {"long type", mail_with_attachment_of("application/" + std::string(17000, 'x'), "a.com")}};
}

/// The placeholder makes the service wait for contents that never arrive, for as long as the check waits.
std::string placeholder_mail()
{
    return mail_with_id("<%LENGTH%@example.com>");
}

class HardenedOpen : public testing::Test
{
protected:
    std::string write(const std::string& text) const { return folder.write("a.eml", text).string(); }
    temporary_folder folder;
};

TEST_F(HardenedOpen, CondemnsWhatASenderTriesToHide)
{
    std::vector<trick> all = tricks();
    all.push_back({"placeholder", placeholder_mail()});
    for (const trick& each : all) {
        SCOPED_TRACE(each.name);
        const auto result = command({"open", "--json", "--hardened", write(each.mail)});
        EXPECT_EQ(0, result.status);
        const auto lines = result.json();
        ASSERT_EQ(1U, lines.size());
        EXPECT_EQ(2, lines[0]["verdict"]);
        EXPECT_EQ("opened", lines[0]["display"]) << "disinfected";
        EXPECT_THAT(lines[0]["after"]["subject"].get<std::string>(), HasSubstr("Malicious"));
    }
}

TEST_F(HardenedOpen, IsWhatItTakesToCondemnThem)
{
    for (const trick& each : tricks()) {
        SCOPED_TRACE(each.name);
        const auto result = command({"open", "--json", write(each.mail)});
        const auto lines = result.json();
        ASSERT_EQ(1U, lines.size());
        EXPECT_EQ(1, lines[0]["verdict"]);
        EXPECT_EQ(1, lines[0]["after"]["verdict_property"]) << "remembered";
        EXPECT_EQ("Offer", lines[0]["after"]["subject"]);
    }
}

TEST_F(HardenedOpen, LogsTheValuesThatItCuts)
{
    const auto log = folder.path() / "log.txt";
    const auto mail = mail_with_attachment_of("application/octet-stream", std::string(13000, 'n') + ".com");
    command({"open", "--hardened", "--log", log.string(), "--log-level", "300", write(mail)});
    EXPECT_THAT(file_text(log), HasSubstr("mail request: X-Mail-Attach-Name cut from 13004 to 1000 bytes"));
}

TEST_F(HardenedOpen, AcceptsTheRegistryValueAsWell)
{
    const auto result =
        command({"open", "--json", "--registry", "HardenedScanning=1", write(mail_with_id("<a\x01@example.com>"))});
    ASSERT_EQ(1U, result.json().size());
    EXPECT_EQ(2, result.json()[0]["verdict"]);
}

TEST_F(HardenedOpen, OpensOrdinaryMailAsBefore)
{
    const auto file = write("From: a@example.com\nSubject: Hello\nMessage-ID: <1@example.com>\n\nAll is well.\n");
    const auto result = command({"open", "--json", "--hardened", "--times", "2", file});
    ASSERT_EQ(2U, result.json().size());
    for (const auto& line : result.json()) {
        EXPECT_EQ(1, line["verdict"]);
        EXPECT_EQ("opened", line["display"]);
    }
}

TEST_F(HardenedOpen, SavesARepairedAttachment)
{
    const std::string text = mail_with_attachment_of("text/plain", "a.txt");
    const std::size_t place = text.find(condemned_text());
    const std::string mail = text.substr(0, place) + repairable_text() + text.substr(place + condemned_text().size());
    const auto result = command({"open", "--json", "--hardened", write(mail)});
    const auto lines = result.json();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(1, lines[0]["verdict"]) << "as its body has it";
    const auto& before = lines[0]["before"]["attachments"];
    const auto& after = lines[0]["after"]["attachments"];
    ASSERT_EQ(1U, after.size());
    EXPECT_EQ("a.txt", after[0]["name"]) << after.dump();
    EXPECT_NE(before[0]["sha256"], after[0]["sha256"]) << after.dump();
}

} // namespace
} // namespace host::test
