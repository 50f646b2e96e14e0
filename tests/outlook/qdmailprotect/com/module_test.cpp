// The module itself, loaded as a client loads it.
#include "client/model/application.h"
#include "client/model/items.h"
#include "outlook/qdmailprotect/com/extensibility.h"
#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "tests/outlook/qdmailprotect/com/support/loaded_module.h"
#include "tests/outlook/qdmailprotect/com/support/registry_tree.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tests/support/process_memory.h"
#include "tests/support/process_resources.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using test::loaded_module;
using test::module_copy;

class module_file : public ::testing::Test
{
protected:
    module_copy copy{L"postwarden module test"};
};

std::wstring text_of(HMODULE module, UINT id)
{
    std::array<wchar_t, 512> text{};
    const int length = ::LoadStringW(module, id, text.data(), static_cast<int>(text.size()));
    return std::wstring(text.data(), static_cast<std::size_t>(length));
}

TEST_F(module_file, has_the_texts_that_are_built_in)
{
    const loaded_module module(copy.path());
    ASSERT_TRUE(module);
    const auto english = EnglishTexts();
    for (const UINT id : {660U, 661U, 662U}) {
        EXPECT_EQ(text_of(module.handle(), id), english->Load(id));
    }
}

TEST_F(module_file, tells_its_version)
{
    const loaded_module module(copy.path());
    const HRSRC found = ::FindResourceW(module.handle(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
    ASSERT_NE(found, nullptr);
    const auto* bytes = static_cast<const wchar_t*>(::LockResource(::LoadResource(module.handle(), found)));
    const std::wstring block(bytes, ::SizeofResource(module.handle(), found) / sizeof(wchar_t));
    for (const wchar_t* text : {L"Morvelane Lab Outlook Addin", L"postwarden.dll", L"Morvelane Lab"}) {
        EXPECT_NE(block.find(text), std::wstring::npos) << std::wstring(text);
    }
}

TEST_F(module_file, gives_its_one_class)
{
    const loaded_module module(copy.path());
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(module.class_object(IID_IUnknown, factory), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(module.class_object(CLSID_Connect, factory), S_OK);
    EXPECT_EQ(module.can_unload_now(), S_FALSE);
    factory.reset();
    EXPECT_EQ(module.can_unload_now(), S_OK);
}

// --- a session of the client

/// The trace configuration of this machine, restored on destruction.
class trace_of_the_machine
{
public:
    explicit trace_of_the_machine(const std::wstring& text)
    {
        test::write_registry_text(HKEY_LOCAL_MACHINE, key(), L"Configuration", text);
    }
    trace_of_the_machine(const trace_of_the_machine&) = delete;
    trace_of_the_machine& operator=(const trace_of_the_machine&) = delete;
    ~trace_of_the_machine() { test::remove_registry_tree(HKEY_LOCAL_MACHINE, key()); }

private:
    static std::wstring key() { return std::wstring(winapi::registry_names::trace_key); }
};

/// Performs the steps of the mail client from its start to its end, with one item opened and closed.
HRESULT one_session(const loaded_module& module)
{
    test::scripted_store store;
    const auto outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<_IDTExtensibility2> addin;
    HRESULT result = module.create(IID__IDTExtensibility2, Receive(addin));
    if (SUCCEEDED(result)) {
        result = addin->OnConnection(outlook.get(), 1, nullptr, nullptr);
    }
    if (FAILED(result)) {
        return result;
    }
    const auto message = test::empty_message(store);
    message->set_bytes(PR_ENTRYID, "id");
    message->set_number(PR_NATIVE_BODY_INFO, 1);
    message->set_bytes(PR_BODY_A, "plain text");
    const auto item = MakeCom<host::outlook_item>(IID_MailItem, test::identity(*message));
    outlook->item_load(item.get());
    item->before_read();
    const bool blocked = item->read_complete();
    item->unload();
    addin->OnBeginShutdown(nullptr);
    result = addin->OnDisconnection(0, nullptr);
    return blocked ? E_ABORT : result;
}

std::string contents_of(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

TEST_F(module_file, writes_its_log_and_closes_it_when_it_can_be_unloaded)
{
    const fs::path file = copy.folder() / L"trace.log";
    const trace_of_the_machine trace(L"level=500; file=\"" + file.wstring() + L"\"");
    const loaded_module module(copy.path());
    ASSERT_TRUE(module);
    ASSERT_EQ(one_session(module), S_OK);
    EXPECT_EQ(module.can_unload_now(), S_OK);
    const std::string text = contents_of(file);
    for (const char* line :
         {"-===  Initializing the Add-in", "AppName: Outlook, AppVer: 16.0.0.0",
          "Current user: ", "-===  Add-in initialization succeeded", "-===  On item load: begin processing (",
          "No ICAP server available", "Message checked, result = 0", "-===  Disconnection finished"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    EXPECT_NE(::DeleteFileW(file.c_str()), FALSE) << "nobody has the file open";
    ASSERT_EQ(one_session(module), S_OK);
    EXPECT_NE(contents_of(file).find("Initializing"), std::string::npos) << "the next session writes again";
}

TEST_F(module_file, leaves_nothing_behind_when_it_is_loaded_and_unloaded_a_hundred_times)
{
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    const fs::path file = copy.folder() / L"trace.log";
    const trace_of_the_machine trace(L"level=400; file=\"" + file.wstring() + L"\"");
    const auto load_and_unload = [this] {
        {
            const loaded_module module(copy.path());
            ASSERT_TRUE(module);
            ASSERT_EQ(one_session(module), S_OK);
            ASSERT_EQ(module.can_unload_now(), S_OK);
        }
        ASSERT_EQ(::GetModuleHandleW(L"postwarden.dll"), nullptr);
    };
    for (int warm_up = 0; warm_up < 10; ++warm_up) { // allocations that the system keeps have been made by then
        load_and_unload();
    }
    {
        const std::size_t heap_before = test::heap_bytes();
        const std::size_t pages_before = test::private_bytes();
        const std::vector<char> block(64 * 1024, 'x');
        const std::vector<char> pages(4 * 1024 * 1024, 'x');
        ASSERT_GE(test::heap_bytes(), heap_before + block.size()) << "the measures see what the limits are about";
        ASSERT_GT(test::private_bytes(), pages_before + 1024 * 1024);
    }
    const auto resources = test::process_resources::now();
    const std::size_t pages = test::private_bytes();
    const std::size_t allocated = test::heap_bytes();
    for (int cycle = 0; cycle < 100; ++cycle) {
        load_and_unload();
    }
    const auto left = test::process_resources::settled(resources);
    EXPECT_LE(left.threads, resources.threads);
    EXPECT_LE(left.handles, resources.handles);
    // Each copy of the compiler's run-time library keeps about 1500 bytes of the thread that used it.
    EXPECT_LT(test::heap_bytes(), allocated + 100 * 2048);
    EXPECT_LT(test::private_bytes(), pages + 2 * 1024 * 1024);
    ::CoUninitialize();
}

TEST_F(module_file, takes_its_texts_from_the_library_beside_it)
{
    const module_copy german(L"postwarden german module", true);
    const loaded_module module(german.path());
    const auto outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<_IDTExtensibility2> addin;
    ASSERT_EQ(module.create(IID__IDTExtensibility2, Receive(addin)), S_OK);
    EXPECT_EQ(::GetModuleHandleW(L"postwarden_loc.dll"), nullptr);
    ASSERT_EQ(addin->OnConnection(outlook.get(), 1, nullptr, nullptr), S_OK);
    const HMODULE library = ::GetModuleHandleW(L"postwarden_loc.dll");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(text_of(library, 662), L"Betreff:");
    EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
    EXPECT_EQ(::GetModuleHandleW(L"postwarden_loc.dll"), nullptr);
}

TEST_F(module_file, does_without_a_library_beside_it)
{
    const loaded_module module(copy.path());
    const auto outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<_IDTExtensibility2> addin;
    ASSERT_EQ(module.create(IID__IDTExtensibility2, Receive(addin)), S_OK);
    ASSERT_EQ(addin->OnConnection(outlook.get(), 1, nullptr, nullptr), S_OK);
    EXPECT_EQ(::GetModuleHandleW(L"postwarden_loc.dll"), nullptr);
    EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
}

TEST_F(module_file, stays_while_an_item_holds_a_sink_of_it)
{
    const loaded_module module(copy.path());
    const auto outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<_IDTExtensibility2> addin;
    ASSERT_EQ(module.create(IID__IDTExtensibility2, Receive(addin)), S_OK);
    ASSERT_EQ(addin->OnConnection(outlook.get(), 1, nullptr, nullptr), S_OK);
    const auto item = MakeCom<host::outlook_item>(IID_MailItem, ComPtr<IUnknown>());
    outlook->item_load(item.get());
    addin.reset(); // by a client that does not disconnect
    EXPECT_EQ(module.can_unload_now(), S_FALSE);
    item->unload();
    EXPECT_EQ(module.can_unload_now(), S_OK);
    EXPECT_EQ(outlook->subscriptions(), 0U);
}

TEST_F(module_file, may_go_after_the_disconnection_while_an_item_is_open)
{
    const loaded_module module(copy.path());
    const auto outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<_IDTExtensibility2> addin;
    ASSERT_EQ(module.create(IID__IDTExtensibility2, Receive(addin)), S_OK);
    ASSERT_EQ(addin->OnConnection(outlook.get(), 1, nullptr, nullptr), S_OK);
    const auto item = MakeCom<host::outlook_item>(IID_MailItem, ComPtr<IUnknown>());
    outlook->item_load(item.get());
    EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
    addin.reset();
    EXPECT_EQ(module.can_unload_now(), S_OK);
    EXPECT_EQ(item->subscriptions(), 0U);
    item->before_read();
}

} // namespace
