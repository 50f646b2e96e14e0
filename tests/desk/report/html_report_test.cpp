#include "desk/report/html_report.h"
#include "desk/report/requested_page.h"
#include "mail/files/path_text.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace host::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t largest_page = 20'000'000;

std::string contents_of(const fs::path& file)
{
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

std::size_t count_of(std::string_view part, std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

attachment_snapshot attached(std::uint32_t number, const std::string& name, const std::string& data)
{
    attachment_snapshot entry;
    entry.number = number;
    entry.name = name;
    entry.mime_tag = "application/pdf";
    entry.data = bytes_of(data);
    entry.size = data.size();
    return entry;
}

class HtmlReport : public testing::Test
{
protected:
    static void expect_parts(const std::string& page, std::initializer_list<const char*> parts)
    {
        for (const char* part : parts) {
            EXPECT_THAT(page, HasSubstr(part));
        }
    }
    /// Returns a clean opening of a message with one attachment, in which nothing changed.
    static reported_opening clean(const std::string& file)
    {
        reported_opening entry;
        entry.file = file;
        entry.result.verdict = static_cast<ScanResult>(1);
        entry.result.answers.body.state = answer_state::scanned;
        entry.result.elapsed_ms = 3;
        entry.before.subject = "Old subject";
        entry.before.sender = "Ann <ann@a.example>";
        entry.before.body = bytes_of("Hello");
        entry.before.body_type = 1;
        entry.before.size = 2048;
        entry.before.attachments.push_back(attached(0, "price.pdf", "abc"));
        entry.after = entry.before;
        return entry;
    }
    /// Returns an opening in which the body and the attachment were replaced.
    static reported_opening replaced(const std::string& file)
    {
        reported_opening entry = clean(file);
        entry.result.verdict = static_cast<ScanResult>(2);
        entry.after.subject = "New subject";
        entry.after.body = nullptr;
        entry.after.body_type = 3;
        entry.after.html = bytes_of("<p>Found</p>");
        entry.after.attachments.clear();
        entry.after.attachments.push_back(attached(7, "page.png", "x"));
        entry.after.attachments.back().hidden = true;
        return entry;
    }
    void add(reported_opening entry)
    {
        entry.changes = describe_changes(entry.before, entry.after);
        report->add(entry);
    }
    std::string page()
    {
        report->finish(totals);
        return contents_of(file);
    }
    void start(const report_limits& limits = {})
    {
        report = std::make_unique<html_report>(file, report_heading{"Monday", "postwarden 1", {{"Service", "<here>"}}},
                                               limits);
    }
    void SetUp() override { start(); }

    temporary_folder folder;
    fs::path file = folder.path() / "out.html";
    opening_totals totals;
    std::unique_ptr<html_report> report;
};

TEST_F(HtmlReport, BeginsWithAPolicyThatAllowsNothingFromOutside)
{
    const std::string text = page();
    EXPECT_TRUE(
        text.starts_with("<!DOCTYPE html>\n<html lang=en>\n<meta charset=utf-8>\n<meta http-equiv=Content-Security-"
                         "Policy content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'; "
                         "base-uri 'none'; form-action 'none'\">\n"));
    for (const char* absent : {"<script", "javascript:", "<link rel=s", "@import", "url("}) {
        EXPECT_THAT(text, Not(HasSubstr(absent)));
    }
    EXPECT_THAT(text, HasSubstr("0 openings: nothing was condemned, 0 messages changed."));
    EXPECT_THAT(text, HasSubstr("<dt>Service<dd><bdi>&lt;here&gt;</bdi>"));
}

TEST_F(HtmlReport, HasARowForEachOpeningAndASectionForEachChangedMessage)
{
    add(clean("clean.eml"));
    add(replaced("bad.eml"));
    reported_opening second = clean("clean.eml");
    second.number = 2;
    add(second);
    report->add_unreadable("broken.eml", "it <ends>");
    const std::string text = page();
    expect_parts(text,
                 {"3 openings: 1 condemned, 1 message changed.", "<title>2 clean, 1 condemned, 1 not opened</title>",
                  "<tr class=c><th scope=row><bdi>clean.eml</bdi><td><bdi>Old subject</bdi><td><bdi>Ann</bdi>"
                  "<small><bdi>ann@a.example</bdi></small><td><b>clean</b><td>2.0 KB<td>3 ms\n",
                  "<tr class=\"d x\"><th scope=row><a href=#m2><bdi>bad.eml</bdi></a>",
                  "<bdi>clean.eml</bdi><small>opening 2</small>",
                  "<b>not opened</b><small><bdi>it &lt;ends&gt;</bdi></small>"});
    EXPECT_EQ(1U, count_of("<details", text));
    EXPECT_THAT(text, HasSubstr("<div id=m2>"));
}

TEST_F(HtmlReport, ShowsAChangedMessageBeforeAndAfter)
{
    reported_opening entry = replaced("bad.eml");
    entry.result.answers.body.state = answer_state::scanned;
    entry.result.answers.body.threat = "Body<Threat";
    attachment_answer answer;
    answer.state = answer_state::scanned;
    answer.threat = "Eicar";
    entry.result.answers.attachments.push_back(answer);
    entry.result.blocked = true;
    add(entry);
    const std::string text = page();
    expect_parts(text, {"<th scope=row>Subject<td><bdi>Old subject</bdi><td><bdi>New subject</bdi>",
                        "<th scope=row>From<td colspan=2><bdi>Ann &lt;ann@a.example&gt;</bdi> <span class=same>"});
    EXPECT_EQ(2U, count_of("<iframe sandbox loading=lazy referrerpolicy=no-referrer", text));
    EXPECT_EQ(2U, count_of("<iframe", text));
    expect_parts(text, {"title=\"Body before the check\" srcdoc=\"<!DOCTYPE html><meta charset=utf-8>",
                        "<p>Found</p>\"></iframe>",
                        "<li class=taken><bdi>price.pdf</bdi> <small>3 bytes, <bdi>application/pdf</bdi></small> "
                        "<b>taken</b> <span class=threat><bdi>Eicar</bdi></span>",
                        "<b>added</b> <b>hidden</b>", " <span class=threat><bdi>Body&lt;Threat</bdi></span>",
                        "<small class=threat><bdi>Body&lt;Threat, Eicar</bdi></small>", ", display stopped</span>"});
}

TEST_F(HtmlReport, ShowsWhatHasNoAnswer)
{
    reported_opening entry = clean("a.eml");
    entry.result.answers.body.state = answer_state::no_answer;
    entry.result.answers.body.why = "it <ended>";
    add(entry);
    reported_opening bad = replaced("b.eml");
    attachment_answer skipped;
    skipped.state = answer_state::skipped;
    skipped.why = "the body was condemned";
    bad.result.answers.attachments.push_back(skipped);
    add(bad);
    const std::string text = page();
    expect_parts(text,
                 {"2 openings: 1 condemned, 1 message changed, 1 without an answer of the service.", "<tr class=a>",
                  "<b>no answer</b><small class=answer>no answer for <bdi>the body: it &lt;ended&gt;</bdi></small>",
                  "<b>taken</b> <span class=skipped>skipped: <bdi>the body was condemned</bdi></span>"});
    EXPECT_EQ(1U, count_of("class=answer", text));
}

TEST_F(HtmlReport, ComparesWhatIsCutInItsCellsAsWell)
{
    reported_opening entry = clean("a.eml");
    const std::string beginning(400, 'x');
    entry.before.subject = beginning + "1";
    entry.after.subject = beginning + "2";
    entry.before.body = bytes_of(std::string(140000, 'x') + "1");
    entry.after.body = bytes_of(std::string(140000, 'x') + "2");
    entry.before.attachments[0].data = bytes_of("abd"); // of the same size
    const auto count_unchanged = [&] {
        add(entry);
        return count_of("<span class=same>", page());
    };
    EXPECT_EQ(1U, count_unchanged()); // the sender
    start({100000, 100000, 0, 100000, 10});
    EXPECT_EQ(1U, count_unchanged()); // also without the bodies
}

TEST_F(HtmlReport, ShowsTheAnswerToABodyThatDidNotChange)
{
    reported_opening entry = replaced("bad.eml");
    entry.after.body_type = entry.before.body_type;
    entry.after.body = entry.before.body;
    entry.after.html = entry.before.html;
    entry.result.answers.body.threat = "Eicar";
    add(entry);
    const std::string text = page();
    EXPECT_EQ(1U, count_of("<iframe", text));
    EXPECT_THAT(text, HasSubstr("</iframe> <span class=threat><bdi>Eicar</bdi></span> <span class=same>unchanged"));
}

TEST_F(HtmlReport, ListsTheAttachmentsThatWereNotKept)
{
    reported_opening entry = clean("many.eml");
    for (std::uint32_t i = 1; i < 60; ++i) {
        entry.before.attachments.push_back(attached(i, "file" + std::to_string(i), "abc"));
    }
    entry.after = entry.before;
    entry.after.attachments.erase(entry.after.attachments.begin() + 55);
    entry.after.attachments.push_back(attached(60, "notice", "x"));
    add(entry);
    const std::string text = page();
    expect_parts(text, {"<bdi>file48</bdi>", "<li class=taken><bdi>file55</bdi>", "<li class=added><bdi>notice</bdi>"});
    EXPECT_THAT(text, Not(HasSubstr("<bdi>file49</bdi>")));
    EXPECT_EQ(2U, count_of("<li>10 more</ul>", text));
    EXPECT_EQ(98U, count_of("<li class=kept>", text));
}

TEST_F(HtmlReport, ShowsThatAnAttachmentBecameHidden)
{
    reported_opening entry = clean("a.eml");
    entry.after.subject = "New subject"; // otherwise there is no section
    entry.after.attachments[0].hidden = true;
    add(entry);
    EXPECT_THAT(page(),
                HasSubstr("<b>kept</b></ul><td><ul class=attachments><li class=kept><bdi>price.pdf</bdi> <small>3 "
                          "bytes, <bdi>application/pdf</bdi></small> <b>kept</b> <b>hidden</b></ul>"));
}

TEST_F(HtmlReport, ListsTheFirstOfTooManyNewAttachments)
{
    reported_opening entry = clean("many.eml");
    entry.after.attachments.clear();
    for (std::uint32_t i = 0; i < 60; ++i) {
        entry.after.attachments.push_back(attached(i, "file" + std::to_string(i), i == 0 ? "abc" : "x"));
    }
    entry.after.attachments[0].name = "price.pdf";
    add(entry);
    const std::string text = page();
    EXPECT_EQ(50U, count_of("<li class=added>", text));
    EXPECT_EQ(1U, count_of("<li>10 more</ul>", text));
}

TEST_F(HtmlReport, CountsEveryOpeningThatLacksAnAnswer)
{
    reported_opening bad = replaced("bad.eml");
    attachment_answer missing;
    missing.state = answer_state::no_answer;
    bad.result.answers.attachments.push_back(missing);
    add(bad);
    add(clean("clean.eml"));
    EXPECT_THAT(page(), HasSubstr("2 openings: 1 condemned, 1 message changed, 1 without an answer of the service."));
}

TEST_F(HtmlReport, SaysWhatCouldNotBeReadOfAnUnchangedMessage)
{
    reported_opening entry = clean("a.eml");
    entry.warnings = {"part <2>", "part 3"};
    add(entry);
    EXPECT_THAT(page(),
                HasSubstr("<b>clean</b><small class=answer>not all of it could be read: <bdi>part &lt;2&gt;</bdi>"));
}

TEST_F(HtmlReport, ShowsTheAddressOfASenderApart)
{
    reported_opening entry = clean("a.eml");
    for (const char* sender : {"Ann <<b> <c@d>", "Ann <b", "a@b"}) {
        entry.before.sender = sender;
        add(entry);
    }
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("<td><bdi>Ann &lt;&lt;b&gt;</bdi><small><bdi>c@d</bdi></small><td>"));
    EXPECT_THAT(text, HasSubstr("<td><bdi>Ann &lt;b</bdi><td>"));
    EXPECT_THAT(text, HasSubstr("<td><bdi>a@b</bdi><td>"));
}

TEST_F(HtmlReport, SaysThatTheRunWasStopped)
{
    constexpr const char* stopped = "The run was stopped before all messages were opened.";
    add(clean("a.eml"));
    EXPECT_THAT(page(), Not(HasSubstr(stopped)));
    totals.stopped_by = 2;
    EXPECT_THAT(page(), HasSubstr(stopped));
}

TEST_F(HtmlReport, SaysThatAMessageIsEncrypted)
{
    reported_opening entry = replaced("secret.eml");
    entry.result.encrypted = true;
    entry.result.closed = "no <key>";
    entry.before.body = nullptr;
    add(entry);
    const std::string text = page();
    expect_parts(text, {"<small>encrypted</small>",
                        "<small class=answer>its contents stay closed: <bdi>no &lt;key&gt;</bdi></small>",
                        "This message arrived encrypted.", "Its contents stay closed: <bdi>no &lt;key&gt;</bdi>.",
                        "<th scope=row>Body<td><span class=none>encrypted</span>", "<b>1</b> condemned"});
}

TEST_F(HtmlReport, EscapesWhatComesFromAMail)
{
    const std::string hostile = "</iframe></textarea></table>\"><script>alert(1)</script>\u202E&#x22;";
    reported_opening entry = replaced(hostile);
    entry.before.subject = hostile;
    entry.before.sender = hostile + " <" + hostile + ">";
    entry.before.body = bytes_of(hostile);
    entry.after.html = bytes_of(hostile);
    entry.before.attachments[0].name = hostile;
    entry.before.attachments[0].mime_tag = hostile;
    entry.before.message_class = hostile;
    entry.warnings = {hostile};
    entry.result.closed = hostile;
    entry.result.encrypted = true;
    entry.result.answers.body.why = hostile;
    entry.result.answers.body.threat = hostile;
    add(entry);
    report->add_unreadable(hostile, hostile);
    const std::string text = page();
    const std::string only = "></textarea></table>&quot;><script>alert(1)</script>\u202E&amp;#x22;"; // within srcdoc
    EXPECT_EQ(1U, count_of("<script", text));
    EXPECT_EQ(1U, count_of(only, text));
    EXPECT_EQ(1U, count_of("\u202E", text));
    EXPECT_EQ(3U, count_of("</iframe>", text)); // two frames, and the text within one
}

TEST_F(HtmlReport, IsNotThereWhileItIsNotWhole)
{
    add(replaced("bad.eml"));
    EXPECT_TRUE(fs::is_empty(folder.path()));
    report.reset();
    EXPECT_TRUE(fs::is_empty(folder.path()));
    start();
    report->finish(totals);
    EXPECT_EQ(1, std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    EXPECT_TRUE(contents_of(file).ends_with("</footer>\n"));
}

TEST_F(HtmlReport, RefusesAPlaceThatCannotHoldAPage)
{
    file = folder.path();
    EXPECT_ANY_THROW(start());
    file = folder.path() / "none" / "out.html";
    EXPECT_ANY_THROW(start());
}

TEST_F(HtmlReport, StaysBelowItsSizeWithTenThousandMessages)
{
    for (int i = 0; i < 10000; ++i) {
        add(clean("Maildir/cur/1700000000.M" + std::to_string(i) + ".host:2,S"));
    }
    const std::string text = page();
    EXPECT_LT(text.size(), largest_page);
    EXPECT_EQ(10000U, count_of("<tr class=c>", text));
    EXPECT_THAT(text, Not(HasSubstr("not listed")));
}

TEST_F(HtmlReport, StaysBelowItsSizeWithTheLargestMessages)
{
    const std::string large(2000, '&');
    const bytes_ptr before = bytes_of(std::string(140000, '&'));
    const bytes_ptr after = bytes_of(std::string(150000, '&'));
    for (int i = 0; i < 3000; ++i) {
        reported_opening entry = i % 2 == 0 ? replaced(large) : clean(large);
        entry.before.subject = large;
        entry.before.sender = large;
        entry.before.body = before;
        entry.after.html = after;
        add(entry);
    }
    const std::string text = page();
    EXPECT_LT(text.size(), largest_page);
    EXPECT_GT(text.size(), largest_page / 2);
    EXPECT_THAT(text, HasSubstr("3000 openings: 1500 condemned"));
    EXPECT_THAT(text, HasSubstr("left out: this page has no room for more bodies"));
    EXPECT_THAT(text, HasSubstr("further openings are not listed"));
}

TEST_F(HtmlReport, ListsWhatIsNotCleanForLonger)
{
    start({1000, 2000, 0, 0, 0});
    for (int i = 0; i < 20; ++i) {
        add(clean("clean.eml"));
    }
    add(replaced("bad.eml"));
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("<bdi>bad.eml</bdi>"));
    EXPECT_THAT(text, HasSubstr("further openings are not listed"));
    EXPECT_THAT(text, HasSubstr("1 further message not shown in detail"));
    EXPECT_THAT(text, Not(HasSubstr("href=#m")));
    EXPECT_THAT(text, HasSubstr("21 openings: 1 condemned"));
}

TEST_F(HtmlReport, LeavesOutTheBodiesThatDoNotFitOnly)
{
    start({100000, 100000, 20000, 100000, 10});
    reported_opening large = replaced("large.eml");
    large.before.body = bytes_of(std::string(20000, 'x'));
    add(large);
    add(replaced("small.eml"));
    const std::string text = page();
    EXPECT_EQ(2U, count_of("left out: this page has no room for more bodies", text));
    EXPECT_EQ(2U, count_of("<iframe", text));
    EXPECT_LT(text.find("left out"), text.find("<iframe"));
}

TEST_F(HtmlReport, DoesNotTryTheBodiesOfEveryMessageOnceTheyDoNotFit)
{
    start({100000, 100000, 20000, 100000, 10});
    reported_opening large = replaced("large.eml");
    large.before.body = bytes_of(std::string(20000, 'x'));
    for (int i = 0; i < 10; ++i) {
        add(large);
    }
    add(replaced("small.eml"));
    EXPECT_EQ(0U, count_of("<iframe", page()));
}

TEST_F(HtmlReport, UnfoldsTheFirstSections)
{
    start({100000, 100000, 100000, 100000, 2});
    for (int i = 0; i < 3; ++i) {
        add(replaced("bad.eml"));
    }
    const std::string text = page();
    EXPECT_EQ(2U, count_of("<details class=\"card x\" open>", text));
    EXPECT_EQ(1U, count_of("<details class=\"card x\">", text));
}

TEST_F(HtmlReport, IsWrittenWhereItIsRequested)
{
    std::ostringstream out;
    std::ostringstream err;
    const console where{out, err};
    open_options options;
    options.hardened = true;
    options.paths = {"a&b"};
    const scan_target target(1345, "/c&d");
    const report_heading heading = heading_of(options, &target, "postwarden");
    requested_page none("", heading, where);
    EXPECT_TRUE(none.good());
    EXPECT_EQ(nullptr, none.report());
    requested_page wanted(text_of_path(file), heading, where);
    ASSERT_NE(nullptr, wanted.report());
    wanted.report()->add(clean("clean.eml"));
    wanted.report()->finish(totals);
    EXPECT_TRUE(wanted.good());
    EXPECT_THAT(contents_of(file), HasSubstr("<dt>Service<dd><bdi>127.0.0.1:1345, path /c&amp;d</bdi><dt>Opened<dd>"
                                             "<bdi>a&amp;b</bdi>"));
    EXPECT_THAT(contents_of(file), HasSubstr("<dt>Scanning<dd><bdi>hardened</bdi>"));
    EXPECT_EQ("", err.str());
}

TEST(ReportHeadings, NameTheService)
{
    open_options options;
    const auto service = [&options](const scan_target* target) {
        return heading_of(options, target, "postwarden").how.at(0).second;
    };
    const scan_target inside(std::nullopt, "webscan");
    EXPECT_EQ("127.0.0.1:" + std::to_string(inside.port()) + ", inside the program", service(&inside));
    EXPECT_EQ("as specified by the broker", service(nullptr));
    options.settings_file = "settings.json";
    EXPECT_EQ("as specified by settings.json", service(nullptr));
}

TEST_F(HtmlReport, FailsWithoutEndingTheRun)
{
    std::ostringstream out;
    std::ostringstream err;
    const console where{out, err};
    const std::string place = text_of_path(folder.path() / "gone" / "out.html");
    EXPECT_FALSE(requested_page(place, {}, where).good());
    EXPECT_THAT(err.str(), HasSubstr("out.html: "));
    fs::create_directory(folder.path() / "gone");
    requested_page wanted(place, {}, where);
    fs::remove_all(folder.path() / "gone");
    wanted.report()->add(clean("clean.eml"));
    wanted.report()->finish(totals);
    EXPECT_FALSE(wanted.good());
    EXPECT_EQ(2U, count_of("out.html: ", err.str()));
}

} // namespace
} // namespace host::test
