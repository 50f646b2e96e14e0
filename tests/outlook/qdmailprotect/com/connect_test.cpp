#include "outlook/qdmailprotect/com/connect.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"
#include "tests/outlook/qdmailprotect/com/support/odd_application.h"

#include <gtest/gtest.h>

namespace {

using test::com_fixture;
using test::odd_application;
using texts = std::vector<std::string>;

class connection : public com_fixture
{
protected:
    /// Connects to an application of the given version.
    HRESULT connect_to_version(const std::wstring& version)
    {
        return connect_to(MakeCom<host::application>(version).get());
    }
    [[nodiscard]] bool started() const { return link->calls == texts{"Start"}; }

    ComPtr<odd_application> odd = MakeCom<odd_application>();
};

TEST_F(connection, tells_its_steps_and_starts_the_checker)
{
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Initializing the Add-in",
                           "500 MAPIInitialize",
                           "400 AppName: Outlook, AppVer: 16.0.0.0",
                           "400 Current user: ada, SID: S-1-5-21-7",
                           "500 link Start",
                           "500 Reading additional params from registry",
                           "400 -===  Add-in initialization succeeded",
                       }));
    EXPECT_EQ(outlook->subscriptions(), 1U);
    EXPECT_EQ(environment->sid_asked_for, L"ada");
    EXPECT_EQ(converter.sessions, 1) << "the converter is started";
}

TEST_F(connection, applies_the_trace_configuration_first)
{
    registry.set_string(winapi::registry_names::trace_key, winapi::registry_names::trace_configuration, L"nonsense=1");
    EXPECT_EQ(connect_to(outlook.get()), S_OK) << "a text that is refused is no obstacle";
    ASSERT_FALSE(lines().empty());
    EXPECT_EQ(lines()[0].rfind("200 Failed to apply the trace configuration: ", 0), 0U) << lines()[0];
    EXPECT_EQ(lines()[1], "400 -===  Initializing the Add-in");
}

TEST_F(connection, goes_on_without_the_message_store)
{
    environment->mapi = MAPI_E_NOT_INITIALIZED;
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_EQ(lines()[2], "200 Failed to initialize MAPI, hr = 0x80040605");
    EXPECT_EQ(lines().back(), "400 -===  Add-in initialization succeeded");
    EXPECT_TRUE(started());
    EXPECT_EQ(converter.sessions, 0) << "the converter isn't started";
    log.clear();
    disconnect();
    EXPECT_FALSE(log.contains("MAPIUninitialize")) << "nothing is due";
}

TEST_F(connection, to_nothing_fails_without_a_word)
{
    EXPECT_EQ(connect_to(nullptr), E_FAIL);
    EXPECT_EQ(lines(), (texts{"400 -===  Initializing the Add-in", "500 MAPIInitialize"}));
    EXPECT_TRUE(link->calls.empty());
}

TEST_F(connection, to_what_is_no_mail_client_fails_without_a_word)
{
    odd->interfaces = 0;
    EXPECT_EQ(connect_to(odd.get()), E_FAIL);
    EXPECT_EQ(lines(), (texts{"400 -===  Initializing the Add-in", "500 MAPIInitialize"}));
    EXPECT_TRUE(link->calls.empty());
}

TEST_F(connection, accepts_versions_from_14_on)
{
    for (const wchar_t* version : {L"14.0.0.0", L"15.0.4420.1017", L"16.0.0.0", L"14.0", L"140.", L"99.9"}) {
        EXPECT_EQ(connect_to_version(version), S_OK) << std::wstring(version);
        disconnect();
    }
}

TEST_F(connection, refuses_older_versions_and_odd_texts)
{
    for (const wchar_t* version : {L"12.0.1", L"9.0", L"13.9", L"14", L"1600", L"16.", L"", L".16.0", L"x16.0"}) {
        log.clear();
        EXPECT_EQ(connect_to_version(version), E_FAIL) << std::wstring(version);
        ASSERT_GE(lines().size(), 2U);
        EXPECT_EQ(lines()[lines().size() - 2], "200 This Outlook version is not supported");
        EXPECT_EQ(lines().back(), "200 Initialization failure");
        disconnect();
    }
    EXPECT_EQ(link->calls, (texts(9, "Stop"))) << "no checker was started, though each was stopped";
}

TEST_F(connection, refuses_a_client_whose_version_is_no_text)
{
    for (const VARTYPE type : {VT_EMPTY, VT_I4}) {
        odd->version_type = type;
        log.clear();
        EXPECT_EQ(connect_to(odd.get()), E_FAIL);
        EXPECT_TRUE(log.contains("AppName: Stand-in, AppVer: ")) << type;
        EXPECT_EQ(lines().back(), "200 Initialization failure");
        disconnect();
    }
}

TEST_F(connection, needs_the_extended_application_interface)
{
    odd->interfaces = 1; // the interface is returned once, for the version
    EXPECT_EQ(connect_to(odd.get()), E_FAIL);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Initializing the Add-in",
                           "500 MAPIInitialize",
                           "400 AppName: Stand-in, AppVer: 16.0.0.0",
                           "200 Failed to obtain extended Application interface",
                           "200 Initialization failure",
                       }));
}

TEST_F(connection, needs_the_events_of_the_application)
{
    const auto refuse = [this](auto&& script) {
        odd = MakeCom<odd_application>();
        script(*odd);
        log.clear();
        EXPECT_EQ(connect_to(odd.get()), E_FAIL);
        EXPECT_EQ(lines(), (texts{
                               "400 -===  Initializing the Add-in",
                               "500 MAPIInitialize",
                               "400 AppName: Stand-in, AppVer: 16.0.0.0",
                               "200 Failed to advise for Outlook12 application events",
                               "200 Initialization failure",
                           }));
        disconnect();
    };
    refuse([](odd_application& it) { it.advise = CONNECT_E_ADVISELIMIT; });
    refuse([](odd_application& it) { it.has_points = false; });
    refuse([](odd_application& it) { it.find_point = CONNECT_E_NOCONNECTION; });
    refuse([](odd_application& it) { it.gives_no_point = true; });
}

TEST_F(connection, that_failed_leaves_mapi_in_force_until_disconnection)
{
    EXPECT_EQ(connect_to_version(L"12.0.1"), E_FAIL);
    EXPECT_EQ(environment->initialized, 1);
    log.clear();
    disconnect();
    EXPECT_EQ(environment->initialized, 0);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Disconnecting the Add-in",
                           "500 link Stop",
                           "500 MAPIUninitialize",
                           "400 -===  Disconnection finished",
                       }));
}

TEST_F(connection, that_failed_gives_mapi_back_with_the_object)
{
    EXPECT_EQ(connect_to_version(L"12.0.1"), E_FAIL);
    addin.reset();
    EXPECT_EQ(environment->initialized, 0);
}

TEST_F(connection, twice_fails_at_the_second_advise)
{
    connected();
    EXPECT_EQ(connect_to(outlook.get()), E_FAIL);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Initializing the Add-in",
                           "500 MAPIInitialize",
                           "400 AppName: Outlook, AppVer: 16.0.0.0",
                       }));
    EXPECT_EQ(outlook->subscriptions(), 1U);
    --environment->initialized; // the second initialization of MAPI has one end only, because there is one flag
}

TEST_F(connection, goes_on_without_the_host_path)
{
    environment->host_path_error = 126;
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_EQ(lines()[3], "200 Failed to get module name, err = 126");
    EXPECT_TRUE(started());
}

TEST_F(connection, goes_on_without_a_user)
{
    environment->sid.clear();
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_EQ(lines()[3], "400 Current user: ada, SID: ");
    EXPECT_TRUE(started());
}

TEST_F(connection, goes_on_without_its_own_path)
{
    environment->module_path_error = 5;
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_FALSE(strings->HasLibrary());
}

TEST_F(connection, tells_process_and_user_in_every_request)
{
    environment->host_path = "C:\\outlook.exe";
    environment->process_id = 77;
    environment->sid = L"S-1-5-\u00FC";
    connected();
    const auto item = new_item();
    outlook->item_load(item.get());
    item->before_read();
    item->unload();
    ASSERT_EQ(pool->scans.size(), 1U);
    EXPECT_EQ(pool->scans[0].parameters.process_name, "C:\\outlook.exe");
    EXPECT_EQ(pool->scans[0].parameters.process_id, 77U);
    EXPECT_EQ(pool->scans[0].parameters.user_name, "S-1-5-\xC3\xBC") << "UTF-8";
}

TEST_F(connection, without_path_and_user_sends_them_empty)
{
    environment->host_path_error = 126;
    environment->sid.clear();
    connected();
    const auto item = new_item();
    outlook->item_load(item.get());
    item->before_read();
    item->unload();
    ASSERT_EQ(pool->scans.size(), 1U);
    EXPECT_EQ(pool->scans[0].parameters.process_name, "");
    EXPECT_EQ(pool->scans[0].parameters.user_name, "");
}

TEST_F(connection, starts_nothing_that_waits)
{
    EXPECT_EQ(connect_to(outlook.get()), S_OK);
    EXPECT_EQ(link->calls, (texts{"Start"})) << "no settings are loaded, no service is asked";
    EXPECT_EQ(pool->queries, 0);
}

// --- startup complete

TEST_F(connection, lets_the_first_check_connect_once_the_client_has_started)
{
    connected();
    EXPECT_EQ(addin->OnStartupComplete(nullptr), S_OK);
    EXPECT_EQ(lines(), (texts{"400 Add-in startup complete"}));
    link->connected = false;
    const auto item = new_item();
    outlook->item_load(item.get());
    item->before_read();
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection now"}));
    link->calls.clear();
    item->before_read();
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection later"}));
    item->unload();
}

TEST_F(connection, does_not_connect_on_the_clients_thread_before_the_client_has_started)
{
    connected();
    link->connected = false;
    const auto item = new_item();
    outlook->item_load(item.get());
    item->before_read();
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection later"}));
    link->calls.clear();
    addin->OnStartupComplete(nullptr);
    item->before_read();
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection now"}));
    item->unload();
}

TEST_F(connection, has_nothing_to_do_for_the_other_calls_of_the_client)
{
    connected();
    EXPECT_EQ(addin->OnAddInsUpdate(nullptr), S_OK);
    EXPECT_EQ(addin->OnBeginShutdown(nullptr), S_OK);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(link->calls.empty());
}

// --- disconnection

TEST_F(connection, ends_step_by_step)
{
    connected();
    EXPECT_EQ(disconnect(), S_OK);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Disconnecting the Add-in",
                           "500 link Stop",
                           "500 MAPIUninitialize",
                           "400 -===  Disconnection finished",
                       }));
    EXPECT_EQ(outlook->subscriptions(), 0U);
    EXPECT_EQ(environment->initialized, 0);
    EXPECT_EQ(converter.open_sessions, 0);
}

TEST_F(connection, that_has_ended_may_end_again_and_be_made_anew)
{
    connected();
    disconnect();
    log.clear();
    EXPECT_EQ(disconnect(), S_OK);
    EXPECT_FALSE(log.contains("MAPIUninitialize"));
    connected();
    EXPECT_EQ(outlook->subscriptions(), 1U);
}

TEST_F(connection, that_was_never_made_may_end)
{
    EXPECT_EQ(disconnect(), S_OK);
    EXPECT_EQ(lines(), (texts{
                           "400 -===  Disconnecting the Add-in",
                           "500 link Stop",
                           "400 -===  Disconnection finished",
                       }));
}

TEST_F(connection, releases_the_handlers_of_open_items_without_an_unload)
{
    connected();
    const auto first = new_item();
    const auto second = new_item();
    outlook->item_load(first.get());
    outlook->item_load(second.get());
    log.clear();
    disconnect();
    EXPECT_FALSE(log.contains("On item unload"));
    EXPECT_EQ(first->subscriptions(), 0U);
    EXPECT_EQ(second->subscriptions(), 0U);
    addin.reset();
    EXPECT_FALSE(ModuleInUse());
}

TEST_F(connection, does_nothing_after_its_end_for_items_that_are_still_open)
{
    connected();
    const auto item = new_item();
    outlook->item_load(item.get());
    disconnect();
    const auto calls = link->calls;
    log.clear();
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    item->unload();
    EXPECT_EQ(lines(), texts{});
    EXPECT_EQ(link->calls, calls) << "no connection";
    EXPECT_EQ(converter.open_sessions, 0);
}

TEST_F(connection, ends_with_an_object_that_the_client_releases_without_disconnecting)
{
    connected();
    addin.reset();
    EXPECT_EQ(lines(), (texts{"500 link Stop", "500 MAPIUninitialize"}));
    EXPECT_EQ(outlook->subscriptions(), 0U);
    EXPECT_EQ(environment->initialized, 0);
    EXPECT_EQ(converter.open_sessions, 0);
    EXPECT_FALSE(ModuleInUse());
}

TEST_F(connection, keeps_the_module_in_use_for_open_items_of_a_client_that_releases_it_without_disconnecting)
{
    connected();
    const auto item = new_item();
    outlook->item_load(item.get());
    addin.reset();
    EXPECT_TRUE(ModuleInUse());
    item->unload();
    EXPECT_EQ(item->subscriptions(), 0U);
    EXPECT_EQ(outlook->subscriptions(), 0U);
    EXPECT_EQ(environment->initialized, 0);
    EXPECT_FALSE(ModuleInUse());
}

// --- the object

TEST_F(connection, answers_for_its_interfaces)
{
    ComPtr<IUnknown> identity;
    ASSERT_EQ(addin->QueryInterface(IID_IUnknown, Receive(identity)), S_OK);
    for (const IID& iid : {IID_IDispatch, IID_IConnect, IID__IDTExtensibility2, IID_IMailItemNotifications}) {
        ComPtr<IUnknown> found;
        ASSERT_EQ(addin->QueryInterface(iid, Receive(found)), S_OK);
        ComPtr<IUnknown> same;
        ASSERT_EQ(found->QueryInterface(IID_IUnknown, Receive(same)), S_OK);
        EXPECT_EQ(same.get(), identity.get());
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(addin->QueryInterface(IID_IClassFactory, Receive(none)), E_NOINTERFACE);
    EXPECT_EQ(addin->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(connection, is_the_owner_end_of_item_events)
{
    connected();
    const ComPtr<IDispatch> item(new_item().get());
    link->pool->answers.push_back({ScanResult::Clean, nullptr, false});
    EXPECT_EQ(addin->OnBeforeRead(item.get()), S_OK);
    EXPECT_TRUE(log.contains("Message checked, result = 1"));
    std::int32_t cancel = 1;
    EXPECT_EQ(addin->OnReadComplete(item.get(), &cancel), S_OK);
    EXPECT_EQ(cancel, 0);
    EXPECT_EQ(addin->OnSend(item.get(), &cancel), S_OK);
    EXPECT_EQ(addin->OnUnload(item.get()), S_OK);
    EXPECT_EQ(addin->OnBeforeAttachmentRead(item.get(), nullptr, &cancel), E_INVALIDARG);
}

} // namespace
