#include "desk/run/answer_record.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <thread>

namespace host::test {
namespace {

attachment_record named(const wchar_t* name)
{
    attachment_record made;
    made.properties->set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(name));
    return made;
}

/// The record of a message with attachments number 2 and 5.
class AnswerRecord : public testing::Test
{
protected:
    AnswerRecord()
    {
        message.attachments[2] = named(L"two.txt");
        message.attachments[5] = named(L"five.txt");
        record.begin(message);
    }
    void hear(const std::string& text) { record.hear("outlook", text); }
    void hear_session(const std::string& text) { record.hear("icapclnt", "session(0x55d0a3" + text); }
    void begin_attachment(int number, int method = 1)
    {
        hear(" - Checking attachment ID: " + std::to_string(number) +
             ", name: 'a, method: 9'/'', tag: , size: 3 bytes, method: " + std::to_string(method));
    }
    void judge_body(const std::string& result = "1")
    {
        hear("Checking mail body");
        hear("Body size: 3 (0x0)");
        hear("Starting the body scan");
        end_body("0x0, result: " + result);
    }
    /// Records a body of that many bytes that is not sent.
    void skip_body(int size)
    {
        hear("Checking mail body");
        hear("Body size: " + std::to_string(size) + " (0x0)");
        hear("Skipped body by size");
    }
    void end_body(const std::string& outcome) { hear("Message body checked, hr=" + outcome); }
    void end_attachment(const std::string& outcome) { hear("   Attachment checked, hr = " + outcome); }
    /// Records an exchange that failed, as a session reports it.
    void fail_exchange(const std::string& why, const std::string& subject = "x")
    {
        hear_session(") mail request: '" + subject + "' failed: " + why);
    }
    void judge_attachment(int number, const std::string& result = "1")
    {
        begin_attachment(number);
        hear("   Starting the attach scan");
        end_attachment("0x0, result: " + result);
    }

    message_record message;
    answer_record record;
};

void expect_no_answer(const object_answer& one, const std::string& why)
{
    EXPECT_EQ(answer_state::no_answer, one.state);
    EXPECT_EQ(why, one.why);
    EXPECT_EQ(ScanResult::None, one.verdict);
    EXPECT_EQ("", one.threat);
}

void expect_skipped(const object_answer& one, const std::string& why)
{
    EXPECT_EQ(answer_state::skipped, one.state);
    EXPECT_EQ(why, one.why);
}

void expect_scanned(const object_answer& one, ScanResult verdict, const std::string& threat = "")
{
    EXPECT_EQ(answer_state::scanned, one.state) << one.why;
    EXPECT_EQ(verdict, one.verdict);
    EXPECT_EQ(threat, one.threat);
    EXPECT_EQ("", one.why);
}

TEST_F(AnswerRecord, KeepsTheVerdictAndTheThreatOfEachObject)
{
    judge_body();
    begin_attachment(2);
    record.exchanged(true, "Eicar");
    end_attachment("0x0, result: 2");
    judge_attachment(5, "3");
    const opening_answers answers = record.finish(S_OK);
    EXPECT_TRUE(answers.complete());
    expect_scanned(answers.body, ScanResult::Clean);
    ASSERT_EQ(2U, answers.attachments.size());
    EXPECT_EQ(2U, answers.attachments[0].number);
    EXPECT_EQ("two.txt", answers.attachments[0].name);
    expect_scanned(answers.attachments[0], ScanResult::Blocked, "Eicar");
    EXPECT_EQ("five.txt", answers.attachments[1].name);
    expect_scanned(answers.attachments[1], ScanResult::Repaired);
    EXPECT_EQ("Eicar", threats_of(answers));
    EXPECT_EQ("all", answered_text(answers));
}

TEST_F(AnswerRecord, DoesNotBelieveACleanVerdictWithoutAnAnswer)
{
    hear("Checking mail body");
    record.exchanged(false, "");
    end_body("0x0, result: 1");
    begin_attachment(2);
    fail_exchange("send request timeout occured", "its ' failed: subject");
    end_attachment("0x0, result: 1");
    judge_attachment(5);
    const opening_answers answers = record.finish(S_OK);
    EXPECT_FALSE(answers.complete());
    expect_no_answer(answers.body, "the scan failed");
    expect_no_answer(answers.attachments[0], "no answer in time");
    expect_scanned(answers.attachments[1], ScanResult::Clean);
    EXPECT_EQ("1 of 3", answered_text(answers));
    EXPECT_EQ("the body: the scan failed", missing_answer(answers));
}

TEST_F(AnswerRecord, DescribesAnAnswerThatIsNoVerdictFromWhereverItIsReported)
{
    hear("Checking mail body");
    std::thread([this] {
        hear_session(")request has been completed with error 'response from server is 500'");
    }).join();
    fail_exchange("request failed: server reply with error");
    end_body("0x0, result: 1");
    hear("   this belongs to nothing");
    begin_attachment(2);
    fail_exchange("request failed: server reply with error");
    end_attachment("0x0, result: 1");
    const opening_answers answers = record.finish(S_OK);
    expect_no_answer(answers.body, "the service answered with status 500");
    expect_no_answer(answers.attachments[0], "the answer is not a verdict");
    expect_no_answer(answers.attachments[1], "the check ended before it");
}

TEST_F(AnswerRecord, ExplainsAMissingConnection)
{
    hear("Scan server is unavailablewinapi error occured at source tool\\wproxy\\socket(3): error code 10061, port=1");
    hear("No ICAP server available");
    hear("Checking mail body");
    hear("No connection to ICAP server");
    end_body("0x80004005, result: 0");
    begin_attachment(2);
    hear_session(") failed: winapi error occured at source tool\\wproxy\\socket(3): error code 10060");
    end_attachment("0x8000ffff, result: 0");
    const opening_answers answers = record.finish(S_OK);
    expect_no_answer(answers.body, "no connection to the service: connection refused");
    expect_no_answer(answers.attachments[0], "no connection to the service: connection timed out");
    EXPECT_EQ("none", answered_text(answers));
}

TEST_F(AnswerRecord, NamesTheReasonOfEverySkip)
{
    hear("Checking mail body");
    hear("Failed to open plain body: 0x8004010f");
    hear("Nothing to check");
    end_body("0x80004005, result: 0");
    begin_attachment(2, 7);
    hear("   Skipped by attach method");
    begin_attachment(5);
    hear("   Skipped by size");
    opening_answers answers = record.finish(S_OK);
    EXPECT_TRUE(answers.complete());
    expect_skipped(answers.body, "there is none");
    expect_skipped(answers.attachments[0], "an attachment of this kind is not sent");
    expect_skipped(answers.attachments[1], "larger than the size limit of the settings");
    EXPECT_EQ("-", answered_text(answers));

    record.begin(message);
    skip_body(0);
    end_body("0x0, result: 0");
    begin_attachment(2, 6);
    end_attachment("0x80070057, result: 0");
    begin_attachment(5);
    hear("   Skipping zero-length attach");
    end_attachment("0x0, result: 0");
    answers = record.finish(S_OK);
    expect_skipped(answers.body, "empty");
    expect_skipped(answers.attachments[0], "an OLE object is not sent");
    expect_skipped(answers.attachments[1], "empty");

    record.begin(message);
    skip_body(5000);
    end_body("0x0, result: 0");
    expect_skipped(record.finish(S_OK).body, "larger than the size limit of the settings");
}

TEST_F(AnswerRecord, CountsWhatCannotBeOpenedAsUnanswered)
{
    hear("Checking mail body");
    hear("Failed to open HTML body: 0x8004010f");
    hear("Failed to open plain body: 0x80070005");
    hear("Nothing to check");
    end_body("0x80004005, result: 0");
    begin_attachment(2);
    hear("   Failed to open attach = 0x80070005");
    end_attachment("0x80004005, result: 0");
    begin_attachment(5);
    hear("   Failed to get attach body = 0x80070005");
    end_attachment("0x80070057, result: 0");
    const opening_answers answers = record.finish(S_OK);
    expect_no_answer(answers.body, "it cannot be opened (0x80070005)");
    expect_no_answer(answers.attachments[0], "it cannot be opened (0x80070005)");
    expect_no_answer(answers.attachments[1], "it cannot be opened (0x80070005)");
}

TEST_F(AnswerRecord, JudgesAnAttachedMessageByAllThatIsSentOfIt)
{
    judge_body();
    begin_attachment(2, 5);
    skip_body(0);
    record.exchanged(true, "");
    end_attachment("0x0, result: 1");
    begin_attachment(5, 5);
    hear("Checking mail body");
    hear("Body size: 3 (0x0)");
    record.exchanged(false, "");
    record.exchanged(true, "");
    end_attachment("0x0, result: 1");
    const opening_answers answers = record.finish(S_OK);
    expect_scanned(answers.attachments[0], ScanResult::Clean);
    expect_no_answer(answers.attachments[1], "the scan failed");
}

TEST_F(AnswerRecord, KnowsACondemnedObjectWhateverFailedInIt)
{
    judge_body();
    begin_attachment(2, 5);
    record.exchanged(false, "");
    record.exchanged(true, "Eicar");
    end_attachment("0x0, result: 2");
    expect_scanned(record.finish(S_OK).attachments[0], ScanResult::Blocked, "Eicar");
}

TEST_F(AnswerRecord, SkipsAllOfAMessageWhoseVerdictIsKnown)
{
    const opening_answers known = record.finish(S_OK);
    expect_skipped(known.body, "the verdict on the message was known");
    expect_skipped(known.attachments[1], "the verdict on the message was known");
    record.begin(message);
    hear("Outlook plugin is turned off");
    expect_skipped(record.finish(E_NOINTERFACE).attachments[0], "scanning is turned off in the settings");
    record.begin(message);
    const opening_answers failed = record.finish(E_FAIL);
    expect_no_answer(failed.body, "the check failed (0x80004005)");
    expect_no_answer(failed.attachments[0], "the check failed (0x80004005)");
}

TEST_F(AnswerRecord, TellsAttachmentsThatAreNeverTriedApart)
{
    judge_body();
    hear("Failed to get the attachment table, 0x80004005");
    EXPECT_EQ("the attachments cannot be listed (0x80004005)", record.finish(S_OK).attachments[0].why);
    for (std::uint32_t number = 0; number < 101; ++number) {
        message.attachments[number] = named(L"x");
    }
    record.begin(message);
    judge_body();
    for (int number = 0; number < 99; ++number) {
        judge_attachment(number);
    }
    const opening_answers answers = record.finish(E_UNEXPECTED);
    expect_no_answer(answers.attachments[99], "the check ended before it");
    expect_skipped(answers.attachments[100], "only the first 100 attachments are sent");
}

TEST_F(AnswerRecord, IgnoresWhatOtherThreadsLog)
{
    judge_body();
    std::thread([this] {
        hear_session(") failed: winapi error occured at source tool\\wproxy\\socket(3): error code 10061");
        hear("No connection to ICAP server");
        record.exchanged(false, "Other");
    }).join();
    begin_attachment(2);
    std::thread([this] { record.exchanged(false, "Other"); }).join();
    end_attachment("0x0, result: 2");
    const opening_answers answers = record.finish(S_OK);
    expect_scanned(answers.attachments[0], ScanResult::Blocked);
}

TEST_F(AnswerRecord, TakesTheThreatFromTheLogWhereNobodyObservesTheSessions)
{
    hear("Checking mail body");
    std::thread([this] {
        hear_session(") request has been completed: response 'blocked' threat='A 'b'' with istag=\"x\"");
    }).join();
    end_body("0x0, result: 2");
    expect_scanned(record.finish(S_OK).body, ScanResult::Blocked, "A 'b'");
}

TEST_F(AnswerRecord, IsWrittenAsJson)
{
    judge_body("2");
    begin_attachment(2);
    hear("   Skipped by size");
    const nlohmann::ordered_json json = to_json(record.finish(S_OK));
    EXPECT_EQ(R"({"complete":false,"body":{"state":"scanned","verdict":2,"threat":""},"attachments":[)"
              R"({"number":2,"name":"two.txt","state":"skipped","why":"larger than the size limit of the settings"},)"
              R"({"number":5,"name":"five.txt","state":"no answer","why":"the check ended before it"}]})",
              json.dump());
}

} // namespace
} // namespace host::test
