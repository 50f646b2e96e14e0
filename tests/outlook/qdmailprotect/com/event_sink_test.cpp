#include "outlook/qdmailprotect/com/event_sink.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "tests/outlook/qdmailprotect/com/support/odd_application.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

constexpr IID Events = IID_ItemEvents;
constexpr SinkEntry Map[] = {{1, VT_EMPTY}, {2, VT_BSTR}, {3, VT_BOOL | VT_BYREF}};

/// Records its events.
class noting_sink final : public EventSink
{
public:
    noting_sink()
        : EventSink(Events, Map, "a noted event")
    {}
    std::vector<DISPID> heard;
    const VARIANT* argument = nullptr;
    bool raises = false;

protected:
    void Handle(DISPID event, const VARIANT* of) override
    {
        heard.push_back(event);
        argument = of;
        if (raises) {
            throw std::runtime_error("scripted failure");
        }
    }
};

class event_sink : public ::testing::Test
{
protected:
    HRESULT invoke(DISPID event, std::vector<VARIANT> arguments, const IID& iid = IID_NULL)
    {
        DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        return sink->Invoke(event, iid, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
    }
    static VARIANT of_type(VARTYPE type)
    {
        VARIANT value{};
        value.vt = type;
        return value;
    }
    test::log_capture log;
    ComPtr<noting_sink> sink = MakeCom<noting_sink>();
};

using ids = std::vector<DISPID>;

TEST_F(event_sink, hears_the_events_of_its_map)
{
    EXPECT_EQ(invoke(1, {}), S_OK);
    EXPECT_EQ(sink->argument, nullptr);
    EXPECT_EQ(invoke(2, {of_type(VT_BSTR)}), S_OK);
    EXPECT_NE(sink->argument, nullptr);
    EXPECT_EQ(invoke(3, {of_type(VT_BOOL | VT_BYREF)}), S_OK);
    EXPECT_EQ(invoke(1, {}, Events), S_OK);
    EXPECT_EQ(sink->heard, (ids{1, 2, 3, 1}));
}

TEST_F(event_sink, answers_success_to_what_is_not_in_its_map)
{
    EXPECT_EQ(invoke(4, {}), S_OK);
    EXPECT_EQ(invoke(-1, {of_type(VT_BSTR)}), S_OK);
    EXPECT_EQ(invoke(1, {}, IID_ApplicationEvents), S_OK) << "another interface";
    EXPECT_EQ(sink->heard, ids{});
}

TEST_F(event_sink, takes_no_event_with_other_arguments)
{
    EXPECT_EQ(invoke(1, {of_type(VT_BSTR)}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invoke(2, {}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invoke(2, {of_type(VT_BSTR), of_type(VT_BSTR)}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invoke(2, {of_type(VT_DISPATCH)}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(invoke(3, {of_type(VT_BOOL)}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(sink->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(sink->heard, ids{});
}

TEST_F(event_sink, answers_success_when_what_it_leads_to_raises)
{
    sink->raises = true;
    EXPECT_EQ(invoke(1, {}), S_OK);
    const std::vector<test::log_record> expected{{200, "outlook", "Exception in a noted event: scripted failure"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(event_sink, is_its_event_interface_and_late_bound_without_a_description)
{
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, Events}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(sink->QueryInterface(iid, Receive(found)), S_OK);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(sink->QueryInterface(IID_ApplicationEvents, Receive(none)), E_NOINTERFACE);
    UINT count = 1;
    EXPECT_EQ(sink->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(sink->GetTypeInfoCount(nullptr), E_POINTER);
    ComPtr<ITypeInfo> information;
    EXPECT_EQ(sink->GetTypeInfo(0, 0, Receive(information)), E_NOTIMPL);
    EXPECT_EQ(sink->GetIDsOfNames(IID_NULL, nullptr, 0, 0, nullptr), DISP_E_UNKNOWNNAME);
    std::wstring name = L"ReadComplete";
    LPOLESTR names[] = {name.data()};
    DISPID id = 1;
    EXPECT_EQ(sink->GetIDsOfNames(IID_NULL, names, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, DISPID_UNKNOWN);
}

TEST_F(event_sink, keeps_the_module_while_it_lives)
{
    EXPECT_TRUE(ModuleInUse());
    sink.reset();
    EXPECT_FALSE(ModuleInUse());
}

TEST_F(event_sink, is_connected_under_the_cookie_of_the_source)
{
    const auto source = MakeCom<test::odd_application>();
    const ComPtr<IDispatch> from(source.get());
    std::uint32_t cookie = 0;
    source->advise = S_OK;
    EXPECT_EQ(AdviseEvents(from.get(), Events, sink.get(), cookie), S_OK);
    EXPECT_EQ(cookie, 7U);
    EXPECT_EQ(UnadviseEvents(from.get(), Events, cookie), S_OK);
    source->unadvise = CONNECT_E_NOCONNECTION;
    EXPECT_EQ(UnadviseEvents(from.get(), Events, cookie), CONNECT_E_NOCONNECTION);
}

TEST_F(event_sink, that_cannot_be_connected_leaves_the_cookie_alone)
{
    const auto source = MakeCom<test::odd_application>();
    const ComPtr<IDispatch> from(source.get());
    std::uint32_t cookie = 5;
    EXPECT_EQ(AdviseEvents(from.get(), Events, sink.get(), cookie), CONNECT_E_ADVISELIMIT);
    source->find_point = CONNECT_E_NOCONNECTION;
    EXPECT_EQ(AdviseEvents(from.get(), Events, sink.get(), cookie), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(UnadviseEvents(from.get(), Events, cookie), CONNECT_E_NOCONNECTION);
    source->has_points = false;
    EXPECT_EQ(AdviseEvents(from.get(), Events, sink.get(), cookie), E_NOINTERFACE);
    EXPECT_EQ(cookie, 5U);
}

} // namespace
