#include "client/model/application.h"
#include "client/model/items.h"
#include "store/message_object.h"
#include "tests/client/model/recording_sink.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::ElementsAre;

/// A value returned by a get. Cleared by the destructor.
struct got_value
{
    got_value() { VariantInit(&value); }
    got_value(const got_value&) = delete;
    got_value& operator=(const got_value&) = delete;
    ~got_value() { VariantClear(&value); }

    HRESULT get(IDispatch* object, DISPID id)
    {
        DISPPARAMS none{};
        return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
    }
    [[nodiscard]] std::wstring text() const
    {
        return value.vt == VT_BSTR ? std::wstring(value.bstrVal, SysStringLen(value.bstrVal)) : std::wstring();
    }

    VARIANT value;
};

DISPID number_of(IDispatch* object, const wchar_t* name)
{
    auto* asked = const_cast<wchar_t*>(name);
    DISPID id = 0;
    return SUCCEEDED(object->GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id)) ? id : DISPID_UNKNOWN;
}

ComPtr<message_object> message()
{
    return MakeCom<message_object>(message_record{}, true, [](const message_record&) { return HRESULT{S_OK}; });
}

ComPtr<outlook_item> item_over(const ComPtr<message_object>& behind, const IID& kind = model::mail_item)
{
    return MakeCom<outlook_item>(kind, ComPtr<IUnknown>(static_cast<IMessage*>(behind.get())));
}

TEST(ApplicationObject, TellsItsNameAndVersionByNumber)
{
    const auto client = MakeCom<application>(L"16.0.4266.1001");
    got_value name;
    ASSERT_EQ(S_OK, name.get(client.get(), 0x3001));
    EXPECT_EQ(L"Outlook", name.text());
    got_value version;
    ASSERT_EQ(S_OK, version.get(client.get(), 0x116));
    EXPECT_EQ(L"16.0.4266.1001", version.text());
}

TEST(ApplicationObject, KnowsItsPropertiesByNameInAnyCase)
{
    const auto client = MakeCom<application>(L"16.0");
    EXPECT_EQ(0x3001, number_of(client.get(), L"Name"));
    EXPECT_EQ(0x116, number_of(client.get(), L"vErSiOn"));
    EXPECT_EQ(DISPID_UNKNOWN, number_of(client.get(), L"Colour"));
}

TEST(ApplicationObject, RefusesCallsThatAStrictServerRefuses)
{
    const auto client = MakeCom<application>(L"16.0");
    got_value got;
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND, got.get(client.get(), 0x4711));
    DISPPARAMS none{};
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND, client->Invoke(0x3001, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &none,
                                                    &got.value, nullptr, nullptr));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, client->Invoke(0x3001, IID_IDispatch, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                                      &none, &got.value, nullptr, nullptr));
    VARIANT argument;
    VariantInit(&argument);
    DISPPARAMS one{&argument, nullptr, 1, 0};
    EXPECT_EQ(DISP_E_BADPARAMCOUNT, client->Invoke(0x3001, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &one,
                                                   &got.value, nullptr, nullptr));
    EXPECT_EQ(S_OK, client->Invoke(0x3001, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, nullptr, nullptr,
                                   nullptr));
}

TEST(ApplicationObject, AnswersItsExtendedInterface)
{
    const auto client = MakeCom<application>(L"16.0");
    ComPtr<IDispatch> extended;
    constexpr IID asked{0x00063001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    EXPECT_EQ(S_OK, client->QueryInterface(asked, Receive(extended)));
    EXPECT_EQ(E_NOINTERFACE, client->QueryInterface(model::mail_item, Receive(extended)));
}

TEST(Items, AnswerTheInterfaceOfTheirKindOnly)
{
    const IID kinds[] = {model::mail_item, model::meeting_item, model::task_item, model::contact_item};
    for (const IID& made : kinds) {
        const auto item = item_over(message(), made);
        for (const IID& asked : kinds) {
            ComPtr<IDispatch> found;
            EXPECT_EQ(made == asked ? S_OK : E_NOINTERFACE, item->QueryInterface(asked, Receive(found)));
        }
    }
    EXPECT_EQ(model::mail_item, interface_of_kind(item_kind::mail));
    EXPECT_EQ(model::meeting_item, interface_of_kind(item_kind::meeting));
    EXPECT_EQ(model::task_item, interface_of_kind(item_kind::task));
}

TEST(Items, GiveTheMessageBehindThem)
{
    const auto behind = message();
    const auto item = item_over(behind);
    got_value got;
    ASSERT_EQ(S_OK, got.get(item.get(), 0xF100));
    ASSERT_EQ(VT_UNKNOWN, got.value.vt);
    ComPtr<IMessage> found;
    ASSERT_EQ(S_OK, Query(got.value.punkVal, IID_IMessage, found));
    EXPECT_EQ(static_cast<IMessage*>(behind.get()), found.get());
    EXPECT_EQ(0xF100, number_of(item.get(), L"MAPIOBJECT"));
}

TEST(Items, MayHaveNothingBehindThem)
{
    const auto item = MakeCom<outlook_item>(model::contact_item, nullptr);
    got_value got;
    ASSERT_EQ(S_OK, got.get(item.get(), 0xF100));
    EXPECT_EQ(VT_UNKNOWN, got.value.vt);
    EXPECT_EQ(nullptr, got.value.punkVal);
}

TEST(Attachments, TellTheirNames)
{
    const auto attachment = MakeCom<outlook_attachment>(L"a.exe", L"Holiday", nullptr);
    got_value file_name;
    got_value display_name;
    ASSERT_EQ(S_OK, file_name.get(attachment.get(), 0x3704));
    ASSERT_EQ(S_OK, display_name.get(attachment.get(), 0x3001));
    EXPECT_EQ(L"a.exe", file_name.text());
    EXPECT_EQ(L"Holiday", display_name.text());
    ComPtr<IDispatch> found;
    EXPECT_EQ(S_OK, attachment->QueryInterface(model::attachment, Receive(found)));
}

TEST(Events, ReachASinkThatAnswersTheirInterface)
{
    const auto client = MakeCom<application>(L"16.0");
    const auto sink = MakeCom<recording_sink>(model::application_events);
    const DWORD cookie = advise(client.get(), model::application_events, sink.get());
    ASSERT_NE(0U, cookie);
    EXPECT_EQ(1U, client->subscriptions());
    const auto item = item_over(message());
    client->item_load(item.get());
    client->new_mail(L"00AA,00BB");
    client->startup();
    ASSERT_EQ(3U, sink->heard.size());
    EXPECT_EQ(0xFBA7, sink->heard[0].id);
    EXPECT_EQ(DISPATCH_METHOD, sink->heard[0].flags);
    EXPECT_THAT(sink->heard[0].types, ElementsAre(VT_DISPATCH));
    EXPECT_EQ(0xFAB5, sink->heard[1].id);
    EXPECT_THAT(sink->heard[1].types, ElementsAre(VT_BSTR));
    EXPECT_EQ(0xF006, sink->heard[2].id);
    EXPECT_EQ(S_OK, unadvise(client.get(), model::application_events, cookie));
    client->quit();
    EXPECT_EQ(3U, sink->heard.size());
    EXPECT_EQ(CONNECT_E_NOCONNECTION, unadvise(client.get(), model::application_events, cookie));
}

TEST(Events, RefuseASinkOfAnotherInterface)
{
    const auto item = item_over(message());
    const auto sink = MakeCom<recording_sink>(model::application_events);
    EXPECT_EQ(0U, advise(item.get(), model::item_events, sink.get()));
    EXPECT_EQ(0U, advise(item.get(), model::application_events, sink.get()));
    EXPECT_EQ(0U, item->subscriptions());
}

TEST(Events, CarryTheirArgumentsInReverse)
{
    const auto item = item_over(message());
    const auto attachment = MakeCom<outlook_attachment>(L"a", L"a", nullptr);
    const auto sink = MakeCom<recording_sink>(model::item_events);
    advise(item.get(), model::item_events, sink.get());
    EXPECT_FALSE(item->before_attachment_read(attachment.get()));
    ASSERT_EQ(1U, sink->heard.size());
    EXPECT_EQ(0xFBAB, sink->heard[0].id);
    EXPECT_THAT(sink->heard[0].types, ElementsAre(VT_BOOL | VT_BYREF, VT_DISPATCH));
}

TEST(Events, TakeACancelOfSixteenOrThirtyTwoBits)
{
    for (const bool wide : {false, true}) {
        const auto item = item_over(message());
        const auto sink = MakeCom<recording_sink>(model::item_events, [wide](DISPID, DISPPARAMS& parameters) {
            if (wide) {
                *reinterpret_cast<LONG*>(parameters.rgvarg[0].pboolVal) = 1;
            } else {
                *parameters.rgvarg[0].pboolVal = VARIANT_TRUE;
            }
        });
        advise(item.get(), model::item_events, sink.get());
        EXPECT_TRUE(item->read_complete());
        EXPECT_TRUE(item->send());
        EXPECT_TRUE(item->close());
    }
}

TEST(Events, AreNotCancelledByASinkThatSaysNothing)
{
    const auto item = item_over(message());
    const auto sink = MakeCom<recording_sink>(model::item_events);
    advise(item.get(), model::item_events, sink.get());
    EXPECT_FALSE(item->read_complete());
    EXPECT_FALSE(item->open());
    EXPECT_FALSE(item->write());
}

TEST(Events, LetASinkEndItsSubscriptionFromWithin)
{
    const auto item = item_over(message());
    DWORD cookie = 0;
    const auto sink = MakeCom<recording_sink>(model::item_events, [&](DISPID, DISPPARAMS&) {
        EXPECT_EQ(S_OK, unadvise(item.get(), model::item_events, cookie));
    });
    cookie = advise(item.get(), model::item_events, sink.get());
    item->unload();
    EXPECT_EQ(0U, item->subscriptions());
    item->unload();
    EXPECT_EQ(1U, sink->heard.size());
}

TEST(Events, ReachASinkOnceForEachSubscription)
{
    const auto item = item_over(message());
    const auto sink = MakeCom<recording_sink>(model::item_events);
    advise(item.get(), model::item_events, sink.get());
    advise(item.get(), model::item_events, sink.get());
    item->before_read();
    EXPECT_EQ(2U, sink->heard.size());
    item->drop_sinks();
    item->before_read();
    EXPECT_EQ(2U, sink->heard.size());
}

TEST(Events, GoToAConnectionPointThatOutlivesItsObject)
{
    ComPtr<IConnectionPoint> point;
    {
        const auto item = item_over(message());
        ASSERT_EQ(S_OK, item->FindConnectionPoint(model::item_events, Receive(point)));
        ComPtr<IConnectionPointContainer> container;
        EXPECT_EQ(S_OK, point->GetConnectionPointContainer(Receive(container)));
        EXPECT_EQ(static_cast<IConnectionPointContainer*>(item.get()), container.get());
    }
    ComPtr<IConnectionPointContainer> gone;
    EXPECT_EQ(E_UNEXPECTED, point->GetConnectionPointContainer(Receive(gone)));
    IID events{};
    EXPECT_EQ(S_OK, point->GetConnectionInterface(&events));
    EXPECT_EQ(model::item_events, events);
}

} // namespace
} // namespace host::test
