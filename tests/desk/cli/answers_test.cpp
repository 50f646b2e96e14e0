#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;

constexpr const char* last_fields = "ISTag: \"x\"\r\nEncapsulated: null-body=0\r\n\r\n";

std::string answer(const std::string& head)
{
    return "ICAP/1.0 " + head + "\r\n" + last_fields;
}

const std::string no_content = answer("204 No Content");

/// A service that answers the health question, and then each object with one of `answers`.
::test::conversation service_with(const std::vector<std::string>& answers)
{
    ::test::conversation made;
    made.expect_until("\r\n\r\n").send(answer("200 OK\r\nMethods: REQMOD"));
    made.expect_until("HTTP/1.1\r\n\r\n").send(no_content);
    for (const std::string& one : answers) {
        made.expect_until("\r\n0\r\n\r\n").send(one);
    }
    return made;
}

/// Messages opened with a service whose answers the test specifies.
class Answers : public testing::Test
{
protected:
    /// Returns the report of one message with a body and an attachment "a.txt".
    nlohmann::json open(const std::vector<std::string>& answers, int status)
    {
        // A session ends with an answer that is not a verdict. The next one is not asked for its health.
        ::test::conversation further;
        further.expect_until("\r\n\r\n").send(answer("200 OK\r\nMethods: REQMOD"));
        further.expect_until("\r\n0\r\n\r\n").send(no_content);
        ::test::scripted_peer peer({service_with(answers), further});
        const auto result = command({"open", "--json", "--port", std::to_string(peer.port()), mail()});
        EXPECT_EQ(status, result.status) << result.err;
        return result.json().at(0);
    }
    std::string mail() const
    {
        return folder
            .write("a.eml", "Subject: x\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\nbody\n--b\n"
                            "Content-Disposition: attachment; filename=a.txt\n\ntext\n--b--\n")
            .string();
    }
    temporary_folder folder;
};

TEST_F(Answers, ShowACleanVerdictThatNobodyGave)
{
    const auto line = open({answer("500 Server Error"), no_content}, 4);
    EXPECT_EQ(1, line["verdict"]) << "the verdict of the check remains";
    EXPECT_EQ(false, line["answered"]["complete"]);
    EXPECT_EQ("no answer", line["answered"]["body"]["state"]);
    EXPECT_EQ("the service answered with status 500", line["answered"]["body"]["why"]);
}

TEST_F(Answers, AreCountedInTheTable)
{
    ::test::scripted_peer peer({service_with({no_content, answer("500 Server Error")})});
    const auto result = command({"open", "--port", std::to_string(peer.port()), mail()});
    EXPECT_EQ(4, result.status);
    const auto lines = lines_of(result.out);
    ASSERT_EQ(4U, lines.size());
    EXPECT_THAT(lines[0], HasSubstr("  ANSWERED  "));
    EXPECT_THAT(lines[1], HasSubstr("  clean              1 of 2    opened "));
    EXPECT_THAT(lines[3], testing::EndsWith("; 1 lacks an answer"));
    EXPECT_THAT(result.err,
                HasSubstr("a.eml: no answer for attachment \"a.txt\": the service answered with status 500\n"));
}

TEST_F(Answers, AreReportedOnceForTheSameReason)
{
    const auto closed = closed_port();
    const auto result = command({"open", "--port", closed, mail(), mail(), mail()});
    EXPECT_EQ(4, result.status);
    EXPECT_EQ(2U, lines_of(result.err).size()) << result.err;
    EXPECT_THAT(result.err, HasSubstr("no answer for the body: no connection to the service: connection refused\n"));
    EXPECT_THAT(result.out, HasSubstr("0 clean"));
    EXPECT_THAT(result.out, HasSubstr("; 3 lack an answer"));
}

TEST_F(Answers, NameTheThreatOfEachObject)
{
    const std::string found = "200 OK\r\nX-Infection-Found: Type=0; Resolution=2; Threat=";
    const auto line = open({answer(found + "One;"), answer(found + "Two;")}, 0);
    EXPECT_EQ(2, line["answered"]["body"]["verdict"]);
    EXPECT_EQ("One", line["answered"]["body"]["threat"]);
    EXPECT_EQ("Two", line["answered"]["attachments"].at(0)["threat"]);
    EXPECT_EQ("a.txt", line["answered"]["attachments"].at(0)["name"]);
}

TEST_F(Answers, NameTheThreatByEveryHeaderThatHasOne)
{
    const std::string nameless = "200 OK\r\nX-Infection-Found: Type=0; Resolution=2;\r\n";
    const auto line = open({answer(nameless + "X-Virus-ID: Some.Virus/7"),
                            answer(nameless + "X-Violations-Found: 1\r\n\ta.txt\r\n\tBad Thing\r\n\t0\r\n\t2")},
                           0);
    EXPECT_EQ("Some.Virus/7", line["answered"]["body"]["threat"]);
    EXPECT_EQ("Bad Thing", line["answered"]["attachments"].at(0)["threat"]);
    EXPECT_EQ("unknown threat", open({answer(nameless + "X-Other: 1"), no_content}, 0)["answered"]["body"]["threat"]);
}

TEST_F(Answers, ShowTheThreatInTheTable)
{
    const auto file = folder.write("bad.eml", "Subject: x\n\n" + condemned_text() + "\n").string();
    EXPECT_THAT(command({"open", file}).out, HasSubstr("; threat: EICAR-Test-File\n"));
}

TEST_F(Answers, AreNotAwaitedWhereTheVerdictIsKnown)
{
    const auto lines = command({"open", "--json", "--times", "2", mail()}).json();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ("scanned", lines[0]["answered"]["attachments"].at(0)["state"]);
    EXPECT_EQ(true, lines[1]["answered"]["complete"]);
    EXPECT_EQ("skipped", lines[1]["answered"]["body"]["state"]);
    EXPECT_EQ("the verdict on the message was known", lines[1]["answered"]["attachments"].at(0)["why"]);
}

TEST_F(Answers, DecideTheExitStatusOnRequest)
{
    const auto bad = folder.write("bad.eml", "Subject: x\n\n" + condemned_text() + "\n").string();
    const auto empty = folder.write("empty.eml", "Subject: x\n\n").string();
    const auto many = folder.path() / "missing.eml";
    EXPECT_EQ(0, command({"open", bad}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "condemned", bad}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "unjudged,changed", bad}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "unjudged", "--fail-on", "condemned", bad}).status);
    EXPECT_EQ(0, command({"open", "--fail-on", "unjudged", bad, empty}).status);
    EXPECT_EQ(0, command({"open", "--fail-on", "condemned,unjudged,changed", mail()}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "condemned", bad, many.string()}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "unjudged", "--port", closed_port(), mail()}).status);
    EXPECT_EQ(4, command({"open", "--fail-on", "condemned", "--port", closed_port(), bad}).status);
    EXPECT_EQ(2, command({"open", "--fail-on", "other", bad}).status);
    EXPECT_EQ(7, command({"scan", "--fail-on", "condemned", bad}).status);
    EXPECT_EQ(0, command({"scan", "--fail-on", "unjudged,changed", bad}).status);
}

TEST_F(Answers, CallAnObjectUnjudgedThatIsNeverSent)
{
    std::string text = "Subject: x\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\nbody\n";
    for (int i = 0; i < 101; ++i) {
        text += "--b\nContent-Disposition: attachment; filename=a.txt\n\ntext\n";
    }
    const auto file = folder.write("many.eml", text + "--b--\n").string();
    EXPECT_EQ(0, command({"open", file}).status);
    EXPECT_EQ(7, command({"open", "--fail-on", "unjudged", file}).status);
}

TEST_F(Answers, AddNothingToTheLog)
{
    const auto log = folder.path() / "errors.log";
    const auto file = folder.write("bad.eml", "Subject: x\n\n" + condemned_text() + "\n").string();
    EXPECT_EQ(0, command({"open", "--log", log.string(), "--log-level", "200", file}).status);
    EXPECT_THAT(file_text(log), testing::Not(HasSubstr("Checking mail body")));
}

} // namespace
} // namespace host::test
