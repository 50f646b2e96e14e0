#include "desk/report/requested_page.h"
#include "mail/files/path_text.h"
#include "tests/desk/report/report_fixture.h"

#include <sstream>
#include <string>

namespace host::test {
namespace {

constexpr std::size_t largest_page = 20'000'000;

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
