#include "desk/cli/mail_client.h"
#include "desk/run/snapshot.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "service/scan_server.h"
#include "store/message_object.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

/// A check whose behaviour the test specifies.
class told_check final : public MessageCheck
{
public:
    using work = std::function<void(IMessage& message)>;
    HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                         bool& blockDisplay) override
    {
        connect_now.push_back(connectNow);
        used_cache = useCache;
        ComPtr<IMessage> message;
        ComPtr<IUnknown> object;
        for (const IID* kind : {&IID_MailItem, &IID_MeetingItem, &IID_TaskItem}) {
            ComPtr<OutlookItemInterface> found;
            if (SUCCEEDED(Query(item.get(), *kind, found))) {
                asked_kind = kind;
                GetMapiObject(found.get(), object);
            }
        }
        if (object && SUCCEEDED(Query(object.get(), IID_IMessage, message)) && doings) {
            doings(*message);
        }
        verdict = told_verdict;
        blockDisplay = block;
        return result;
    }
    [[nodiscard]] bool IsAttachmentAllowed(const std::wstring&) override { return true; }

    work doings;
    ScanResult told_verdict = ScanResult::Clean;
    HRESULT result = S_OK;
    bool block = false;
    bool used_cache = false;
    const IID* asked_kind = nullptr;
    std::vector<bool> connect_now;
};

class MailClient : public testing::Test
{
protected:
    static void set_subject(IMessage& message, const wchar_t* subject)
    {
        SPropValue value{};
        value.ulPropTag = PR_SUBJECT_W;
        value.Value.lpszW = const_cast<wchar_t*>(subject);
        ASSERT_EQ(S_OK, message.SetProps(1, &value, nullptr));
    }
    std::shared_ptr<message_record> stored = std::make_shared<message_record>(test::read("Subject: Old\n\nx\n"));
    std::shared_ptr<told_check> check = std::make_shared<told_check>();
    mail_client client{check};
};

TEST_F(MailClient, ChecksAnItemBeforeItIsRead)
{
    check->told_verdict = ScanResult::Blocked;
    check->block = true;
    const opening result = client.open(stored);
    EXPECT_EQ(S_OK, result.result);
    EXPECT_EQ(ScanResult::Blocked, result.verdict);
    EXPECT_TRUE(result.blocked);
    EXPECT_TRUE(check->used_cache);
    EXPECT_EQ(&IID_MailItem, check->asked_kind);
}

TEST_F(MailClient, LetsOnlyTheFirstCheckConnectAtOnce)
{
    client.open(stored);
    client.open(stored);
    EXPECT_EQ((std::vector<bool>{true, false}), check->connect_now);
}

TEST_F(MailClient, MakesItemsOfTheirKind)
{
    stored->properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Schedule.Meeting.Request"));
    client.open(stored);
    EXPECT_EQ(&IID_MeetingItem, check->asked_kind);
    stored->properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Task"));
    client.open(stored);
    EXPECT_EQ(&IID_TaskItem, check->asked_kind);
}

TEST_F(MailClient, TellsAFailedCheck)
{
    check->result = E_NOINTERFACE;
    const opening result = client.open(stored);
    EXPECT_EQ(E_NOINTERFACE, result.result);
    EXPECT_FALSE(result.blocked);
}

TEST_F(MailClient, ShowsChangesAndKeepsOnlyWhatIsSaved)
{
    check->doings = [](IMessage& message) { set_subject(message, L"Unsaved"); };
    const opening unsaved = client.open(stored);
    EXPECT_EQ("Unsaved", take_snapshot(unsaved.shown).subject);
    EXPECT_EQ("Old", take_snapshot(*stored).subject);
    check->doings = [](IMessage& message) {
        set_subject(message, L"Saved");
        EXPECT_EQ(S_OK, message.SaveChanges(0));
    };
    client.open(stored);
    EXPECT_EQ("Saved", take_snapshot(*stored).subject);
}

TEST_F(MailClient, FreesEachMessageAfterItsOpening)
{
    std::weak_ptr<property_bag> bag;
    check->doings = [&bag](IMessage& message) {
        bag = dynamic_cast<message_object&>(message).current().properties;
        EXPECT_FALSE(bag.expired());
    };
    client.open(stored);
    EXPECT_TRUE(bag.expired());
}

} // namespace
} // namespace host::test
