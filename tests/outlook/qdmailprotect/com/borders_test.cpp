// An exception in every entry point: none propagates, and all remaining steps are executed.
#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/com/module.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"
#include "tests/outlook/qdmailprotect/com/support/odd_application.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {

using test::com_fixture;
using test::odd_application;
using texts = std::vector<std::string>;

// --- the borders themselves

TEST(com_border, passes_results_on)
{
    EXPECT_EQ(ComBorder("it", [] { return S_FALSE; }), S_FALSE);
    EXPECT_EQ(ComBorder("it", [] { return E_ABORT; }), E_ABORT);
    EXPECT_EQ(EventBorder("it", [] {}), S_OK);
}

TEST(com_border, gives_a_raised_result_without_a_word)
{
    const test::log_capture log;
    EXPECT_EQ(ComBorder("it", []() -> HRESULT { throw ComError(E_ABORT); }), E_ABORT);
    EXPECT_EQ(ComBorder("it", []() -> HRESULT { throw ComError(S_OK); }), E_FAIL) << "a failure stays one";
    EXPECT_TRUE(log.lines().empty());
}

TEST(com_border, tells_of_every_other_exception)
{
    const test::log_capture log;
    EXPECT_EQ(ComBorder("first", []() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(ComBorder("second", []() -> HRESULT { throw std::runtime_error("reason"); }), E_UNEXPECTED);
    EXPECT_EQ(ComBorder("third", []() -> HRESULT { throw 3; }), E_UNEXPECTED);
    EXPECT_EQ(EventBorder("fourth", [] { throw std::runtime_error("reason"); }), S_OK);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text.rfind("Exception in first: ", 0), 0U);
    EXPECT_EQ(lines[1], (test::log_record{200, "outlook", "Exception in second: reason"}));
    EXPECT_EQ(lines[2], (test::log_record{200, "outlook", "Exception in third: unknown"}));
    EXPECT_EQ(lines[3], (test::log_record{200, "outlook", "Exception in fourth: reason"}));
}

// --- the add-in

/// Throws when it is stopped.
class raising_link final : public ConnectionSource
{
public:
    bool start = false;
    bool stop = false;
    bool settings = false;

    void Start() override { raise_if(start); }
    void Stop() override { raise_if(stop); }
    std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override
    {
        raise_if(settings);
        return nullptr;
    }
    std::shared_ptr<icap::client::session_pool> GetSessionManager() override { return nullptr; }
    bool IsConnected() const override { return false; }
    void ForceConnection(bool) override {}
    void LoadSettings() override {}
    void BreakConnection() override {}

private:
    static void raise_if(bool wanted)
    {
        if (wanted) {
            throw std::runtime_error("scripted failure");
        }
    }
};

class borders : public com_fixture
{
protected:
    borders()
    {
        ConnectServices services;
        services.checker = {raising, converter.platform(), disinfector, &clock, &session};
        services.environment = environment;
        services.strings = strings;
        addin = MakeCom<CConnect>(std::move(services));
        log.clear();
    }
    std::shared_ptr<raising_link> raising = std::make_shared<raising_link>();
};

TEST_F(borders, of_connection_hold_for_every_question_to_the_machine)
{
    for (const char* operation : {"InitializeMapi", "ModulePath", "HostPath", "ProcessId", "UserName", "UserSid"}) {
        environment->raises = operation;
        log.clear();
        EXPECT_EQ(connect_to(outlook.get()), E_UNEXPECTED) << operation;
        EXPECT_EQ(lines().back(), "200 Exception in OnConnection: scripted failure") << operation;
        EXPECT_EQ(outlook->subscriptions(), 0U) << operation << ": a failed connection hears of no items";
        environment->raises.clear();
        disconnect();
        EXPECT_EQ(environment->initialized, 0) << operation;
    }
}

TEST_F(borders, of_connection_hold_for_the_start_of_the_link)
{
    raising->start = true;
    EXPECT_EQ(connect_to(outlook.get()), E_UNEXPECTED);
    EXPECT_EQ(outlook->subscriptions(), 0U);
}

TEST_F(borders, of_connection_hold_for_a_client_that_raises)
{
    const auto odd = MakeCom<odd_application>();
    odd->raises = true;
    EXPECT_EQ(connect_to(odd.get()), E_UNEXPECTED);
}

TEST_F(borders, of_disconnection_let_every_step_run)
{
    ASSERT_EQ(connect_to(outlook.get()), S_OK);
    raising->stop = true;
    environment->raises = "UninitializeMapi";
    log.clear();
    EXPECT_EQ(disconnect(), S_OK);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Disconnecting the Add-in",
                           "200 Exception in OnDisconnection: scripted failure",
                           "500 MAPIUninitialize",
                           "200 Exception in OnDisconnection: scripted failure",
                           "400 -===  Disconnection finished",
                       }));
    EXPECT_EQ(outlook->subscriptions(), 0U);
    raising->stop = false;
    environment->raises.clear();
}

TEST_F(borders, of_the_objects_end_hold)
{
    EXPECT_EQ(connect_to(MakeCom<host::application>(L"9.0").get()), E_FAIL);
    environment->raises = "UninitializeMapi";
    addin.reset();
    EXPECT_TRUE(log.contains("Exception in ~CConnect: scripted failure"));
}

TEST_F(borders, of_an_items_events_hold)
{
    ASSERT_EQ(connect_to(outlook.get()), S_OK);
    const auto item = new_item();
    outlook->item_load(item.get());
    raising->settings = true;
    log.clear();
    item->before_read();
    EXPECT_TRUE(log.contains("Failed to check message, hr = 8000ffff")) << "the check has a border of its own";
    EXPECT_FALSE(item->read_complete());
    item->unload();
}

TEST_F(borders, of_the_owner_end_hold_for_an_attachments_name)
{
    raising->settings = true;
    const auto attachment = MakeCom<host::outlook_attachment>(L"a.exe", L"", ComPtr<IUnknown>());
    std::int32_t cancel = 0;
    const ComPtr<IDispatch> item(new_item().get());
    EXPECT_EQ(addin->OnBeforeAttachmentRead(item.get(), static_cast<IDispatch*>(attachment.get()), &cancel),
              E_UNEXPECTED);
    EXPECT_EQ(cancel, 0);
}

/// A clock that throws while a log line is formatted, like a log destination that cannot be written to.
class raising_clock final : public winapi::time_source
{
public:
    bool raises = false;
    [[nodiscard]] std::uint32_t tick_count() const override
    {
        if (raises) {
            throw std::runtime_error("scripted failure");
        }
        return 0;
    }
    [[nodiscard]] std::uint64_t system_ticks() const override { return 0; }
};

TEST_F(borders, of_every_event_hold_when_its_handling_raises)
{
    raising_clock broken;
    ConnectServices services;
    services.checker = {raising, converter.platform(), disinfector, &broken, &session};
    services.environment = environment;
    services.strings = strings;
    addin = MakeCom<CConnect>(std::move(services));
    ASSERT_EQ(connect_to(outlook.get()), S_OK);
    const auto item = new_item();
    outlook->item_load(item.get());
    broken.raises = true;
    log.clear();
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    EXPECT_FALSE(item->send());
    EXPECT_EQ(lines(),
              (texts{"200 Exception in OnBeforeRead: scripted failure",
                     "200 Exception in OnReadComplete: scripted failure", "200 Exception in OnSend: scripted failure"}))
        << "the add-in is the owner that hears of the item";
    const ComPtr<IDispatch> identity(item.get());
    std::int32_t cancel = 0;
    EXPECT_EQ(addin->OnBeforeRead(identity.get()), E_UNEXPECTED);
    EXPECT_EQ(addin->OnReadComplete(identity.get(), &cancel), E_UNEXPECTED);
    EXPECT_EQ(addin->OnSend(identity.get(), &cancel), E_UNEXPECTED);
    broken.raises = false;
    item->unload();
    disconnect();
    addin.reset();
}

// --- the server

class raising_registration final : public ServerRegistration
{
public:
    HRESULT RunScript(RegistrationScope, bool) override { throw std::runtime_error("scripted failure"); }
    HRESULT RegisterTypeLibrary(RegistrationScope) override { throw std::bad_alloc(); }
    HRESULT UnregisterTypeLibrary(RegistrationScope) override { throw std::bad_alloc(); }
};

TEST(server_borders, hold_for_every_export)
{
    raising_registration registration;
    const CQDMailProtectModule module([]() -> ComPtr<IUnknown> { throw std::bad_alloc(); }, registration);
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(module.GetClassObject(CLSID_Connect, IID_IClassFactory, Receive(factory)), S_OK);
    ComPtr<IUnknown> object;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, Receive(object)), E_OUTOFMEMORY);
    EXPECT_EQ(module.RegisterServer(), E_UNEXPECTED);
    EXPECT_EQ(module.UnregisterServer(), E_UNEXPECTED);
    EXPECT_EQ(module.Install(true, nullptr), E_UNEXPECTED);
    EXPECT_EQ(module.Install(false, L"user"), E_UNEXPECTED);
    factory.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

} // namespace
