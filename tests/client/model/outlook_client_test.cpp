#include "client/model/outlook_client.h"
#include "store/message_object.h"
#include "tests/client/model/recording_sink.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using model::item_event;
using testing::ElementsAre;

/// An add-in that listens to each item that is loaded.
class OutlookClient : public testing::Test
{
protected:
    OutlookClient()
        : load_sink(MakeCom<recording_sink>(model::application_events, [this](DISPID id, DISPPARAMS& parameters) {
            if (id == static_cast<DISPID>(model::application_event::item_load)) {
                load(parameters.rgvarg[0].pdispVal);
            }
        }))
    {
        advise(program.get(), model::application_events, load_sink.get());
    }
    void load(IDispatch* item)
    {
        ComPtr<IDispatch> typed;
        is_meeting = SUCCEEDED(Query(item, model::meeting_item, typed));
        const auto sink = MakeCom<recording_sink>(model::item_events, [this, item](DISPID id, DISPPARAMS& parameters) {
            heard.push_back(static_cast<item_event>(id));
            if (react) {
                react(item, static_cast<item_event>(id), parameters);
            }
        });
        advise(item, model::item_events, sink.get());
    }

    ComPtr<application> program = MakeCom<application>(L"16.0.1");
    check_outcome outcome;
    outlook_client client{program, outcome};
    std::vector<item_event> heard;
    std::function<void(IDispatch* item, item_event event, DISPPARAMS& parameters)> react;
    bool is_meeting = false;
    std::shared_ptr<message_record> stored = std::make_shared<message_record>();

private:
    ComPtr<recording_sink> load_sink;
};

ComPtr<IMessage> message_of(IDispatch* item)
{
    DISPPARAMS none{};
    VARIANT value;
    VariantInit(&value);
    item->Invoke(model::mapi_object, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr,
                 nullptr);
    ComPtr<IMessage> found;
    Query(value.punkVal, IID_IMessage, found);
    VariantClear(&value);
    return found;
}

void set_subject(IMessage& message, const wchar_t* text)
{
    SPropValue value{};
    value.ulPropTag = PR_SUBJECT_W;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    EXPECT_EQ(S_OK, message.SetProps(1, &value, nullptr));
}

std::wstring subject(const message_record& record)
{
    const property_value* value = record.properties->find(PROP_ID(PR_SUBJECT_W));
    return value ? value->wide() : std::wstring();
}

TEST_F(OutlookClient, RaisesTheEventsOfAnOpenedItemInTheirOrder)
{
    const opening result = client.open(stored);
    EXPECT_FALSE(result.blocked);
    EXPECT_THAT(heard, ElementsAre(item_event::before_read, item_event::read, item_event::read_complete,
                                   item_event::open, item_event::close, item_event::unload));
}

TEST_F(OutlookClient, DoesNotDisplayWhatASinkCancels)
{
    react = [](IDispatch*, item_event event, DISPPARAMS& parameters) {
        if (event == item_event::read_complete) {
            *parameters.rgvarg[0].pboolVal = VARIANT_TRUE;
        }
    };
    const opening result = client.open(stored);
    EXPECT_TRUE(result.blocked);
    EXPECT_THAT(heard, ElementsAre(item_event::before_read, item_event::read, item_event::read_complete,
                                   item_event::close, item_event::unload));
}

TEST_F(OutlookClient, MakesItemsByTheMessageClass)
{
    client.open(stored);
    EXPECT_FALSE(is_meeting);
    stored->properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Schedule.Meeting.Request"));
    client.open(stored);
    EXPECT_TRUE(is_meeting);
}

TEST_F(OutlookClient, ShowsChangesAndKeepsOnlyWhatIsSaved)
{
    bool save = false;
    react = [&save](IDispatch* item, item_event event, DISPPARAMS&) {
        if (event == item_event::before_read) {
            const auto message = message_of(item);
            set_subject(*message, L"Changed");
            if (save) {
                EXPECT_EQ(S_OK, message->SaveChanges(0));
            }
        }
    };
    const opening unsaved = client.open(stored);
    EXPECT_EQ(L"Changed", subject(unsaved.shown));
    EXPECT_EQ(L"", subject(*stored));
    save = true;
    client.open(stored);
    EXPECT_EQ(L"Changed", subject(*stored));
}

TEST_F(OutlookClient, TellsWhatTheTraceSaysOfTheCheck)
{
    EXPECT_EQ(E_FAIL, client.open(stored).result);
    react = [this](IDispatch*, item_event event, DISPPARAMS&) {
        if (event == item_event::before_read) {
            outcome.hear({400, "outlook", "Message checked, result = 3"});
        }
    };
    const opening checked = client.open(stored);
    EXPECT_EQ(S_OK, checked.result);
    EXPECT_EQ(ScanResult::Repaired, checked.verdict);
    react = nullptr;
    EXPECT_EQ(E_FAIL, client.open(stored).result);
}

TEST(CheckOutcome, IsReadFromTheLinesOfTheAddIn)
{
    check_outcome outcome;
    outcome.hear({200, "outlook", "Failed to check message, hr = 80004002"});
    const auto failed = outcome.take();
    EXPECT_EQ(E_NOINTERFACE, failed.check);
    EXPECT_EQ(ScanResult::None, failed.verdict);
    outcome.hear({400, "outlook", "Message checked, result = 2"});
    outcome.hear({400, "wpx", "Message checked, result = 1"});
    outcome.hear({400, "outlook", "Message checked, result = 1 or so"});
    outcome.hear({400, "outlook", "-=  On before read: end processing (3ms)"});
    const auto checked = outcome.take();
    EXPECT_EQ(S_OK, checked.check);
    EXPECT_EQ(ScanResult::Blocked, checked.verdict);
    EXPECT_EQ(E_FAIL, outcome.take().check);
    outcome.hear({400, "outlook", "Message checked, result = -7"}); // the value stored in a message is trusted
    EXPECT_EQ(-7, static_cast<std::int32_t>(outcome.take().verdict));
}

} // namespace
} // namespace host::test
