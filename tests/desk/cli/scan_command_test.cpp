#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;

/// A service that responds to OPTIONS and then no more.
::test::conversation service_without_answer()
{
    return ::test::conversation()
        .expect_until("\r\n\r\n")
        .send("ICAP/1.0 200 OK\r\nMethods: REQMOD\r\nISTag: \"x\"\r\nPreview: 0\r\n"
              "Encapsulated: null-body=0\r\n\r\n");
}

class ScanCommand : public testing::Test
{
protected:
    std::string write(const std::string& name, std::string_view text) const
    {
        return folder.write(name, text).string();
    }
    static std::string request(std::string_view body)
    {
        return "POST http://a.example.com/ HTTP/1.1\r\nHost: a.example.com\r\nContent-Length: " +
               std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
    }
    static std::string exchange(std::string_view body)
    {
        return "GET http://a.example.com/ HTTP/1.1\r\nHost: a.example.com\r\n\r\n"
               "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
               std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
    }
    static nlohmann::json scan(const std::string& kind, const std::string& file)
    {
        const auto result = command({"scan", "--json", "--kind", kind, file});
        EXPECT_EQ(0, result.status) << result.err;
        return result.json().at(0);
    }
    temporary_folder folder;
};

TEST_F(ScanCommand, TellsEveryFieldInJson)
{
    const auto file = write("a.txt", condemned_text());
    const auto line = scan("mail", file);
    EXPECT_EQ(file, line["file"]);
    EXPECT_EQ("mail", line["kind"]);
    EXPECT_EQ(2, line["result"]);
    EXPECT_EQ("EICAR-Test-File", line["threat"]);
    EXPECT_NE("", line["istag"]);
    EXPECT_EQ(true, line["answered"]);
    EXPECT_TRUE(line["elapsed_ms"].is_number_unsigned());
}

TEST_F(ScanCommand, JudgesMailAndObjects)
{
    const auto clean = write("clean.txt", "nothing to see");
    const auto bad = write("bad.txt", condemned_text());
    const auto damaged = write("damaged.txt", repairable_text());
    for (const char* kind : {"mail", "object"}) {
        EXPECT_EQ(1, scan(kind, clean)["result"]) << kind;
        EXPECT_EQ(2, scan(kind, bad)["result"]) << kind;
        EXPECT_EQ(3, scan(kind, damaged)["result"]) << kind;
    }
}

TEST_F(ScanCommand, JudgesHttpRequestsAndResponses)
{
    EXPECT_EQ(1, scan("http-request", write("a", request("fine")))["result"]);
    EXPECT_EQ(2, scan("http-request", write("b", request(condemned_text())))["result"]);
    EXPECT_EQ(1, scan("http-response", write("c", exchange("fine")))["result"]);
    EXPECT_EQ(2, scan("http-response", write("d", exchange(condemned_text())))["result"]);
    // A body larger than the capacity of an analyzer, and one that ends with the file.
    EXPECT_EQ(2, scan("http-response", write("e", exchange(std::string(100000, 'x') + condemned_text())))["result"]);
    EXPECT_EQ(2, scan("http-response", write("f", "GET http://a.example.com/ HTTP/1.1\r\nHost: a\r\n\r\n"
                                                  "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" +
                                                      condemned_text()))["result"]);
}

TEST_F(ScanCommand, AsksForHealthAndCertificates)
{
    EXPECT_EQ(1, scan("certificate", write("c.txt", "www.example.com\r\nCN=Example\r\n"))["result"]);
    EXPECT_EQ(1, scan("health", write("h.txt", "Are you there?\n"))["result"]);
    const auto result = command({"scan", "--kind", "health"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr("1 (clean)"));
}

TEST_F(ScanCommand, KeepsWhatWasRepaired)
{
    const auto damaged = write("damaged.txt", "left " + repairable_text() + " right");
    const auto target = folder.path() / "repaired.txt";
    for (const char* kind : {"mail", "object"}) {
        EXPECT_EQ(0, command({"scan", "--kind", kind, "--repaired-to", target.string(), damaged}).status);
        EXPECT_EQ("left [removed] right", file_text(target)) << kind;
        std::filesystem::remove(target);
    }
    EXPECT_EQ("left " + repairable_text() + " right", file_text(damaged)); // the file itself is unchanged
    const auto http = write("d", exchange("left " + repairable_text() + " right"));
    EXPECT_EQ(0, command({"scan", "--kind", "http-response", "--repaired-to", target.string(), http}).status);
    EXPECT_THAT(file_text(target),
                testing::AllOf(testing::StartsWith("HTTP/1.1 200"), testing::EndsWith("\r\n\r\nleft [removed] right")));
}

TEST_F(ScanCommand, TellsThatItCannotWriteWhatWasRepaired)
{
    const std::string target = (folder.path() / "none" / "repaired.txt").string();
    const auto result = command({"scan", "--repaired-to", target, write("damaged.txt", repairable_text())});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("postwarden: " + target + ": the file cannot be written\n", result.err);
    EXPECT_THAT(result.out, HasSubstr("3 (repaired)"));
}

TEST_F(ScanCommand, SendsNothingToATerminalThatSteersIt)
{
    const auto result = command({"scan", write("a\x1B[2Jb.txt", "fine")});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr("a?[2Jb.txt: 1 (clean)"));
}

TEST_F(ScanCommand, WritesNothingWhereNothingWasRepaired)
{
    const auto target = folder.path() / "repaired.txt";
    EXPECT_EQ(0, command({"scan", "--repaired-to", target.string(), write("a", "fine")}).status);
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(ScanCommand, PrintsResultThreatAndIstagForPeople)
{
    const auto result = command({"scan", write("a", condemned_text()), write("b", "fine")});
    EXPECT_EQ(0, result.status);
    const auto lines = lines_of(result.out);
    ASSERT_EQ(2U, lines.size());
    EXPECT_THAT(lines[0],
                testing::AllOf(HasSubstr("2 (blocked)"), HasSubstr("threat EICAR-Test-File"), HasSubstr("ISTag")));
    EXPECT_THAT(lines[1], testing::AllOf(HasSubstr("1 (clean)"), testing::Not(HasSubstr("threat"))));
}

TEST_F(ScanCommand, GoesOnBehindAFileThatCannotBeUsed)
{
    const auto result = command({"scan", (folder.path() / "missing").string(), write("a", "fine")});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(1U, lines_of(result.out).size());
    EXPECT_THAT(result.err, testing::MatchesRegex("postwarden: .*missing: .+\n"));
    EXPECT_EQ(3, command({"scan", "--kind", "http-request", write("b", "no http")}).status);
    EXPECT_EQ(3, command({"scan", "--kind", "http-response", write("c", request("x"))}).status);
    EXPECT_EQ(3, command({"scan", "--kind", "certificate", write("d", "")}).status);
}

TEST_F(ScanCommand, HasTheStatusThatCountsMostWhateverTheOrder)
{
    const auto missing = (folder.path() / "missing").string();
    const auto fine = write("a", "fine");
    for (const auto& [first, second] : {std::pair(missing, fine), std::pair(fine, missing)}) {
        ::test::scripted_peer peer({service_without_answer()});
        EXPECT_EQ(4, command({"scan", "--port", std::to_string(peer.port()), "--timeout", "50", first, second}).status);
    }
}

TEST_F(ScanCommand, WritesWhatWasRepairedOfOneFileOnly)
{
    const auto target = (folder.path() / "repaired.txt").string();
    const auto file = write("a", repairable_text());
    EXPECT_EQ(2, command({"scan", "--repaired-to", target, file, file}).status);
    const auto result = command({"scan", "--repaired-to", target, folder.path().string()});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("postwarden: command line: --repaired-to takes one FILE only; --help tells more\n", result.err);
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(ScanCommand, HasNothingUnjudgedInAnEmptyObject)
{
    const auto unjudged = [&](const std::string& name, const std::string& text) {
        return command({"scan", "--kind", "object", "--fail-on", "unjudged", write(name, text)}).status;
    };
    EXPECT_EQ(0, unjudged("empty", ""));
    EXPECT_EQ(7, unjudged("tiny", "abc")) << "it is not sent";
}

TEST_F(ScanCommand, NeedsAService)
{
    const auto result = command({"scan", "--port", closed_port(), write("a", "fine")});
    EXPECT_EQ(4, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(1U, lines_of(result.err).size());
}

TEST_F(ScanCommand, TellsACleanResultThatNobodyGave)
{
    ::test::scripted_peer peer({service_without_answer()});
    const auto result =
        command({"scan", "--json", "--port", std::to_string(peer.port()), "--timeout", "50", write("a", "fine")});
    EXPECT_EQ(4, result.status);
    EXPECT_EQ(1, result.json().at(0)["result"]);
    EXPECT_EQ(false, result.json().at(0)["answered"]);
    EXPECT_THAT(result.err, HasSubstr("gave no answer"));
}

TEST_F(ScanCommand, WaitsForAConnectionNoLongerThanAsked)
{
    // The service accepts, and answers not even OPTIONS, for which a session waits 30 seconds otherwise.
    ::test::scripted_peer peer({::test::conversation().wait()});
    const auto result = command({"scan", "--port", std::to_string(peer.port()), "--timeout", "50", write("a", "fine")});
    EXPECT_EQ(4, result.status);
    EXPECT_THAT(result.err, testing::EndsWith(": no scanning service answers there: no answer in time\n"));
}

TEST_F(ScanCommand, TellsInWordsWhyThereIsNoService)
{
    EXPECT_THAT(command({"scan", "--port", closed_port(), write("a", "fine")}).err,
                testing::EndsWith(": no scanning service answers there: connection refused\n"));
}

TEST_F(ScanCommand, CountsAVerdictWhoseConnectionIsClosed)
{
    ::test::scripted_peer peer(
        {service_without_answer()
             .expect_until("0\r\n\r\n")
             .send("ICAP/1.0 204 No Content\r\nISTag: \"x\"\r\nEncapsulated: null-body=0\r\n\r\n")
             .close()});
    const auto result = command({"scan", "--json", "--port", std::to_string(peer.port()), write("a", "fine")});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(1, result.json().at(0)["result"]);
    EXPECT_EQ(true, result.json().at(0)["answered"]);
}

TEST_F(ScanCommand, TellsThatATinyObjectWasNotSent)
{
    const auto result =
        command({"scan", "--json", "--kind", "object", write("big", "fine text"), write("tiny", "abc")});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(true, result.json().at(0)["answered"]);
    EXPECT_EQ(1, result.json().at(1)["result"]);
    EXPECT_EQ(false, result.json().at(1)["answered"]);
    EXPECT_THAT(result.err, HasSubstr("smaller than 4 bytes"));
}

TEST_F(ScanCommand, UsesTheServiceThatIsAskedFor)
{
    service::server_options options;
    options.uri = "other";
    service::scan_server server(options);
    server.start();
    const auto result = command(
        {"scan", "--json", "--port", std::to_string(server.port()), "--uri", "other", write("a", condemned_text())});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(2, result.json().at(0)["result"]);
}

} // namespace
} // namespace host::test
