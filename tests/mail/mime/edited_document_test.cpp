// Messages that were read from a document, changed and saved: what was not changed keeps its bytes, whatever the
// document looks like, and reading the file yields the changed message.

#include "tests/mail/mime/message_edits.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Returns the document without the headers of this program.
std::string without_own_headers(const std::string& saved)
{
    const std::size_t end = saved.find("X-Postwarden-End: 1");
    return end == std::string::npos ? "no headers of this program" : saved.substr(saved.find('\n', end) + 1);
}

/// Reads a document, changes the message, and saves it. Returns the document in the file.
std::string saved_with(const change& edit, const std::string& text)
{
    const message_record read = read_message(bytes_of(text), "test", std::make_shared<store_context>());
    message_record message = read.copy();
    edit(message);
    return without_own_headers(expect_same_when_saved(message, text));
}

TEST(edited_document, gets_both_bodies_in_the_place_of_one)
{
    const change both = [](message_record& message) {
        change_html(message);
        change_plain(message);
    };
    for (const char* type : {"text/html", "text/plain"}) {
        const std::string text = saved_with(both, std::string("X-Kept:  1\nContent-Type: ") + type + "\n\nold\n");
        EXPECT_THAT(text, HasSubstr("X-Kept:  1\n"));
        EXPECT_THAT(text, HasSubstr("multipart/alternative")) << type;
        EXPECT_THAT(text, Not(HasSubstr("\nold\n"))) << type;
    }
}

TEST(edited_document, has_boundaries_that_differ_from_those_of_an_attached_message)
{
    const change both = [](message_record& message) {
        inside(add_file)(message);
        add_file(message);
    };
    const std::string text = saved_with(both, "X-Kept:  1\nContent-Type: message/rfc822\n\nX-Kept:  2\n\ninner\n");
    for (const char* kept : {"X-Kept:  1\n", "X-Kept:  2\n", "--=_edited_1_--\n", "--=_edited_2_--\n"}) {
        EXPECT_THAT(text, HasSubstr(kept));
    }
}

TEST(edited_document, may_have_no_line_end_behind_its_headers)
{
    EXPECT_EQ(saved_with(change_subject, "X-Kept:  1\nSubject: old"), "X-Kept:  1\nSubject: new\n\n");
    EXPECT_EQ(saved_with(change_subject, "Subject: old\nX-Kept:  1"), "Subject: new\nX-Kept:  1\n\n");
    const std::string text = saved_with(change_contents, "Content-Type: multipart/mixed; boundary=o\n\n--o\n"
                                                         "Content-Transfer-Encoding: 7bit\nContent-Type: image/x");
    EXPECT_THAT(text, HasSubstr("\nContent-Type: image/x\n"));
    EXPECT_THAT(text, HasSubstr("\nContent-Transfer-Encoding: base64\n"));
}

TEST(edited_document, keeps_damaged_header_lines)
{
    const std::string rest = "no header\n folded\nX-Kept:  1\n\nbody\n";
    EXPECT_EQ(saved_with(change_subject, "Subject: old\n\tfolded\n" + rest), "Subject: new\n" + rest);
}

TEST(edited_document, has_a_file_in_place_of_a_multipart_with_other_contents)
{
    const std::string start = "Content-Type: multipart/mixed; boundary=o\n\npreamble\n--o\n\ntext\n--o\n";
    const std::string text =
        saved_with(change_contents, start + "Content-Type: multipart/mixed; boundary=i\n\nno parts\n\n--o--\n");
    EXPECT_THAT(text, StartsWith(start + "Content-Type: application/octet-stream"));
    EXPECT_THAT(text, Not(HasSubstr("boundary=i")));
}

TEST(edited_document, keeps_the_bytes_of_an_attached_message_around_a_change_inside)
{
    const std::string outer = "X-Kept:  1\nContent-Type: multipart/mixed; boundary=o\n\npreamble\n--o\nContent-Type: "
                              "message/rfc822\nX-Part:  2\n\n";
    const std::string middle = "Content-Type: message/rfc822\nX-Middle:  3\n\n";
    const std::string inner = "\nX-Kept:  4\n\ninner\n";
    const std::string rest = "\n--o\n\ntext\n--o--\nepilogue\n";
    EXPECT_EQ(saved_with(inside(change_subject), outer + "Subject: old" + inner + rest),
              outer + "Subject: new" + inner + rest);
    EXPECT_EQ(saved_with(inside(inside(change_subject)), outer + middle + "Subject: old" + inner + rest),
              outer + middle + "Subject: new" + inner + rest);
}

TEST(edited_document, takes_no_header_from_a_subject)
{
    const change edit = [](message_record& message) { set_text(message, PR_SUBJECT_W, L"a\r\nX-Evil: 1\n\nb"); };
    const std::string text = saved_with(edit, "Subject: old\n\nbody\n");
    EXPECT_EQ(count_of(text, "\n"), 3U) << text;
    EXPECT_THAT(text, Not(HasSubstr("X-Evil")));
}

} // namespace
} // namespace host::test
