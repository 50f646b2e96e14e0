#include "tests/desk/report/report_fixture.h"

#include <string>

namespace host::test {
namespace {

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

} // namespace
} // namespace host::test
