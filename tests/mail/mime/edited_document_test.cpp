// Messages that were read from a document, changed and saved: what was not changed keeps its bytes, whatever the
// document looks like, and reading the file yields the changed message.

#include "tests/mail/mime/document_fixture.h"

#include <gmock/gmock.h>

#include <functional>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using change = std::function<void(message_record&)>;

/// Returns the document without the headers of this program.
std::string without_own_headers(const std::string& saved)
{
    const std::size_t end = saved.find("X-Postwarden-End: 1");
    return end == std::string::npos ? "no headers of this program" : saved.substr(saved.find('\n', end) + 1);
}

/// Reads a document, changes the message, saves it, and expects the file to yield the changed message, and to be saved
/// as the same file again. Returns the document in the file.
std::string edited(const std::string& text, const change& edit)
{
    const message_record read = read_message(bytes_of(text), "test", std::make_shared<store_context>());
    message_record message = read.copy();
    edit(message);
    const std::string saved = saved_document(message);
    const message_record again = read_saved(saved);
    EXPECT_EQ(snapshot_text(again), snapshot_text(message)) << saved;
    EXPECT_EQ(saved_document(again), saved);
    return without_own_headers(saved);
}

void set_html(message_record& message)
{
    set_binary(message, PR_HTML, "<p>new</p>");
}

void change_subject(message_record& message)
{
    set_text(message, PR_SUBJECT_W, L"new");
}

void add_file(message_record& message)
{
    const std::uint32_t number = message.attachments.empty() ? 0 : message.attachments.rbegin()->first + 1;
    message.attachments.emplace(number, file_attachment(L"added.bin", "added"));
}

void change_contents(message_record& message)
{
    message.attachments.begin()->second.properties->set(PR_ATTACH_DATA_BIN,
                                                        property_value::of_binary(bytes_of("other")));
}

/// Changes the message in the first attachment.
change inside(const change& edit)
{
    return [edit](message_record& message) {
        auto& embedded = message.attachments.begin()->second.embedded;
        ASSERT_NE(embedded, nullptr);
        auto inner = std::make_shared<message_record>(embedded->copy());
        edit(*inner);
        embedded = std::move(inner);
    };
}

TEST(edited_document, gets_both_bodies_in_the_place_of_one)
{
    const change both = [](message_record& message) {
        set_html(message);
        set_text(message, PR_BODY_W, L"new text");
    };
    for (const char* type : {"text/html", "text/plain"}) {
        const std::string text = edited(std::string("X-Kept:  1\nContent-Type: ") + type + "\n\nold\n", both);
        EXPECT_THAT(text, HasSubstr("X-Kept:  1\n"));
        EXPECT_THAT(text, HasSubstr("multipart/alternative")) << type;
        EXPECT_THAT(text, Not(HasSubstr("\nold\n"))) << type;
    }
}

TEST(edited_document, has_boundaries_that_differ_from_those_of_an_attached_message)
{
    const std::string text =
        edited("X-Kept:  1\nContent-Type: message/rfc822\n\nX-Kept:  2\n\ninner\n", [](message_record& message) {
            inside(add_file)(message);
            add_file(message);
        });
    EXPECT_THAT(text, HasSubstr("X-Kept:  1\n"));
    EXPECT_THAT(text, HasSubstr("X-Kept:  2\n"));
    EXPECT_THAT(text, HasSubstr("--=_edited_1_--\n"));
    EXPECT_THAT(text, HasSubstr("--=_edited_2_--\n"));
}

TEST(edited_document, may_have_no_line_end_behind_its_headers)
{
    EXPECT_EQ(edited("X-Kept:  1\nSubject: old", change_subject), "X-Kept:  1\nSubject: new\n\n");
    EXPECT_EQ(edited("Subject: old\nX-Kept:  1", change_subject), "Subject: new\nX-Kept:  1\n\n");
    const std::string text = edited("Content-Type: multipart/mixed; boundary=o\n\n--o\nContent-Transfer-Encoding: "
                                    "7bit\nContent-Type: image/x",
                                    change_contents);
    EXPECT_THAT(text, HasSubstr("\nContent-Type: image/x\n"));
    EXPECT_THAT(text, HasSubstr("\nContent-Transfer-Encoding: base64\n"));
}

TEST(edited_document, keeps_damaged_header_lines)
{
    const std::string text = edited("Subject: old\n\tfolded\nno header\n folded\nX-Kept:  1\n\nbody\n", change_subject);
    EXPECT_EQ(text, "Subject: new\nno header\n folded\nX-Kept:  1\n\nbody\n");
}

TEST(edited_document, has_a_file_in_place_of_a_multipart_with_other_contents)
{
    const std::string text =
        edited("X-Kept:  1\nContent-Type: multipart/mixed; boundary=o\n\npreamble\n--o\n\ntext\n--o\n"
               "Content-Type: multipart/mixed; boundary=i\n\nno parts\n\n--o--\n",
               change_contents);
    EXPECT_THAT(text, HasSubstr("X-Kept:  1\n"));
    EXPECT_THAT(text, HasSubstr("\n\npreamble\n--o\n\ntext\n--o\n"));
    EXPECT_THAT(text, HasSubstr("--o\nContent-Type: application/octet-stream"));
    EXPECT_THAT(text, Not(HasSubstr("boundary=i")));
}

TEST(edited_document, keeps_the_bytes_of_an_attached_message_around_a_change_inside)
{
    const std::string outer = "X-Kept:  1\nContent-Type: multipart/mixed; boundary=o\n\npreamble\n--o\nContent-Type: "
                              "message/rfc822\nX-Part:  2\n\n";
    const std::string inner = "\nX-Kept:  3\n\ninner\n";
    const std::string rest = "\n--o\n\ntext\n--o--\nepilogue\n";
    EXPECT_EQ(edited(outer + "Subject: old" + inner + rest, inside(change_subject)),
              outer + "Subject: new" + inner + rest);
    const std::string middle = "Content-Type: message/rfc822\nX-Middle:  4\n\n";
    EXPECT_EQ(edited(outer + middle + "Subject: old" + inner + rest, inside(inside(change_subject))),
              outer + middle + "Subject: new" + inner + rest);
}

TEST(edited_document, takes_no_header_from_a_subject)
{
    const std::string text = edited("Subject: old\n\nbody\n", [](message_record& message) {
        set_text(message, PR_SUBJECT_W, L"a\r\nX-Evil: 1\n\nb");
    });
    EXPECT_EQ(count_of(text, "\n"), 3U) << text;
    EXPECT_THAT(text, Not(HasSubstr("X-Evil")));
}

} // namespace
} // namespace host::test
