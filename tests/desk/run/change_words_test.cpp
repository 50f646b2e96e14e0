#include "desk/run/snapshot.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/store/store_fixture.h"

#include <string>

namespace host::test {
namespace {

using namespace std::string_literals;

/// A message with a plain body and three attachments, before and after a change.
class ChangeWords : public testing::Test
{
protected:
    void SetUp() override
    {
        record = read("Subject: Old\n\nbody\n").copy();
        record.attachments.emplace(0, file_attachment(L"one.doc", "1"));
        record.attachments.emplace(1, file_attachment(L"", "2"));
        record.attachments.emplace(2, file_attachment(L"three.doc", "3"));
        before = take_snapshot(record);
    }
    [[nodiscard]] std::string words() const { return describe_changes(before, take_snapshot(record)); }

    attachment_record& add(std::uint32_t number, std::wstring_view name, std::wstring_view mime_tag,
                           std::string contents = "x")
    {
        attachment_record& added = record.attachments[number] = file_attachment(name, std::move(contents));
        added.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(mime_tag));
        return added;
    }
    void replace_body(const std::string& html)
    {
        record.properties->erase(PROP_ID(PR_BODY_W));
        record.properties->set(PR_HTML, property_value::of_binary(bytes_of(html)));
    }
    message_record record;
    message_snapshot before;
};

TEST_F(ChangeWords, AreNoneWhereNothingChanged)
{
    EXPECT_EQ("", words());
    const char* text = "Subject: a\n\nbody\n";
    EXPECT_EQ("", describe_changes(take_snapshot(read(text)), take_snapshot(read(text))));
}

TEST_F(ChangeWords, TellOfANoticeInThePlaceOfAnAttachment)
{
    record.attachments.erase(0);
    add(7, L"one.doc.htm", L"text/html");
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"New"));
    EXPECT_EQ("1 attachment replaced by a notice, subject replaced", words());
}

TEST_F(ChangeWords, FindTheNoticeOfAnAttachmentWithoutANameByItsNumber)
{
    record.attachments.erase(0);
    record.attachments.erase(1);
    add(7, L"one.doc.htm", L"text/html");
    add(8, L"1.htm", L"text/html");
    EXPECT_EQ("2 attachments replaced by notices", words());
}

TEST_F(ChangeWords, TellAnAttachmentThatLeftNoNotice)
{
    record.attachments.erase(2);
    EXPECT_EQ("1 attachment removed", words());
    record.attachments.erase(0);
    add(7, L"one.doc.htm", L"text/plain"); // its type is not that of a notice
    EXPECT_EQ("2 attachments removed, 1 attachment added", words());
}

TEST_F(ChangeWords, CountEachNoticeOnce)
{
    add(3, L"one.doc", L"a/b");
    before = take_snapshot(record);
    record.attachments.erase(0);
    record.attachments.erase(3);
    add(7, L"one.doc.htm", L"text/html");
    EXPECT_EQ("1 attachment replaced by a notice, 1 attachment removed", words());
    add(8, L"one.doc.htm", L"text/html");
    EXPECT_EQ("2 attachments replaced by notices", words());
}

TEST_F(ChangeWords, TellThePageOfACondemnedBodyWithItsImagesAndTheOldText)
{
    replace_body("<p>notice</p>\0"s);
    add(5, L"original_body.txt", L"text/plain");
    for (const std::uint32_t number : {6U, 7U, 8U}) {
        attachment_record& image = add(number, L"image.png", L"image/png");
        image.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(true));
        image.properties->set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(L"image" + std::to_wstring(number)));
    }
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"New"));
    EXPECT_EQ("body replaced, 3 images hidden as attachments, old text kept, subject replaced", words());
    record.attachments.erase(7);
    record.attachments.erase(8);
    EXPECT_EQ("body replaced, 1 image hidden as an attachment, old text kept, subject replaced", words());
}

TEST_F(ChangeWords, CallABodyChangedThatIsNoPage)
{
    replace_body("<p>repaired</p>");
    EXPECT_EQ("body changed", words());
    replace_body("");
    EXPECT_EQ("body changed", words());
}

TEST_F(ChangeWords, CallABodyChangedWhosePageStoodThereBefore)
{
    replace_body("<p>notice</p>\0"s);
    before = take_snapshot(record);
    record.properties->set(PR_BODY_W, property_value::of_text(L"text"));
    EXPECT_EQ("body changed", words());
    replace_body("<p>another notice</p>\0"s);
    EXPECT_EQ("body replaced", words());
}

TEST_F(ChangeWords, TellOtherContentsUnderTheSameNumber)
{
    record.attachments.at(1).properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of("other")));
    EXPECT_EQ("1 attachment changed", words());
    add(9, L"new.txt", L"text/plain");
    add(10, L"image.png", L"image/png"); // neither hidden nor referenced by the body
    EXPECT_EQ("1 attachment changed, 2 attachments added", words());
}

TEST_F(ChangeWords, TellTheEndOfEncryption)
{
    const auto set_class = [this](const wchar_t* text) {
        record.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(text));
    };
    set_class(L"ipm.note.smime");
    EXPECT_EQ("class changed", words());
    before = take_snapshot(record);
    set_class(L"IPM.Note");
    EXPECT_EQ("no longer encrypted", words());
    set_class(L"IPM.Task");
    EXPECT_EQ("class changed", words());
}

TEST_F(ChangeWords, LeaveTheVerdictOut)
{
    const std::uint32_t id = record.store->names.id_of(
        {{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}}, std::int32_t{1}}, true);
    record.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(2));
    EXPECT_EQ(2U, take_snapshot(record).verdict_property);
    EXPECT_EQ("", words());
}

TEST(SameBody, ComparesTheContents)
{
    message_snapshot left;
    message_snapshot right;
    EXPECT_TRUE(same_body(left, right));
    left.body = bytes_of("a");
    EXPECT_FALSE(same_body(left, right));
    right.body = bytes_of("a");
    EXPECT_TRUE(same_body(left, right));
    left.html = bytes_of("b");
    EXPECT_FALSE(same_body(left, right));
}

TEST(Snapshots, FindAttachmentsByNumber)
{
    message_snapshot message;
    EXPECT_EQ(nullptr, attachment_with(message, 0));
    message.attachments.resize(2);
    message.attachments[0].number = 3;
    message.attachments[1].number = 7;
    EXPECT_EQ(&message.attachments[1], attachment_with(message, 7));
    EXPECT_EQ(nullptr, attachment_with(message, 5));
    EXPECT_EQ(nullptr, attachment_with(message, 8));
}

TEST(Snapshot, DoesNotFollowItsMessage)
{
    message_record record = read("Subject: Old\n\nbody\n").copy();
    const auto before = take_snapshot(record);
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"New"));
    EXPECT_EQ("Old", before.subject);
}

} // namespace
} // namespace host::test
