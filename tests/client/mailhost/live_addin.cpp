#include "tests/client/mailhost/live_addin.h"

#include "client/mailhost/broker_class.h"
#include "client/model/class_object.h"
#include "mail/mime/writing/converter_session.h"
#include "service/engine/builtin_engine.h"
#include "settings/settings_blob.h"
#include "store/object_ledger.h"
#include "tests/client/model/stand_in_registry.h"
#include "tool/system/registry.h"

#include <algorithm>
#include <optional>

namespace host::test {

namespace {

constexpr const wchar_t* prog_id = L"QDMailProtect.Connect";

HRESULT make_converter(IUnknown** object)
{
    ComPtr<IConverterSession> session;
    const HRESULT result = converter_session::create(Receive(session));
    *object = session.detach();
    return result;
}

/// The environment of every test: COM, the registry of this process, the message system, the client's own classes.
class surroundings : public testing::Environment
{
public:
    void SetUp() override
    {
        ASSERT_TRUE(SUCCEEDED(OleInitialize(nullptr)));
        machine_.emplace(HKEY_LOCAL_MACHINE, L"machine");
        user_.emplace(HKEY_CURRENT_USER, L"user");
        set_text(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail", {}, L"mailhost test");
        set_text(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\mailhost test", L"DLLPathEx", MAPI_PROVIDER_FILE);
        set_text(HKEY_LOCAL_MACHINE, std::wstring(winapi::registry_names::trace_key),
                 std::wstring(winapi::registry_names::trace_configuration), L"level=500; debugger");
        const std::wstring id = L"{73701B94-160C-49E1-91DF-B8CEAAD06DC1}";
        const std::wstring classes = L"Software\\Classes\\";
        set_text(HKEY_CURRENT_USER, classes + prog_id + L"\\CurVer", {}, std::wstring(prog_id) + L".1");
        set_text(HKEY_CURRENT_USER, classes + prog_id + L".1\\CLSID", {}, id);
        set_text(HKEY_CURRENT_USER, classes + L"CLSID\\" + id + L"\\InprocServer32", {}, ADDIN_FILE);
        converter_.emplace(CLSID_IConverterSession, make_converter);
    }
    void TearDown() override
    {
        converter_.reset();
        forget_registry();
        OleUninitialize();
    }
    void forget_registry()
    {
        user_.reset();
        machine_.reset();
    }

private:
    std::optional<stand_in_registry> machine_;
    std::optional<stand_in_registry> user_;
    std::optional<registered_class> converter_;
};

surroundings* add_surroundings()
{
    auto* const made = new surroundings; // gtest deletes it
    testing::AddGlobalTestEnvironment(made);
    return made;
}

surroundings* const around = add_surroundings();

std::vector<std::uint8_t> settings_with(std::uint16_t port)
{
    DOVA::Settings::WebTrafficMonitorSettings settings;
    settings.ServerPort.value = port;
    settings.ServerPort.isSet = true;
    return DOVA::Settings::BlobFromSettings(settings);
}

} // namespace

live_addin::live_addin() = default;
live_addin::~live_addin() = default;

void live_addin::SetUp()
{
    object_ledger::of_process().switch_on(true);
    listener_ = std::make_unique<trace_listener>([this](std::string_view line) { hear(line); });
    offer_broker([this](VARIANT& value) { return put_bytes(settings_with(port_), value); });
}

void live_addin::TearDown()
{
    disconnect();
    services_.clear();
    offer_broker({});
    listener_.reset();
    for (const auto& left : object_ledger::of_process().alive()) {
        EXPECT_EQ("class object", left.kind) << "was never released"; // that of the converter stays registered
    }
    EXPECT_FALSE(module_in_use());
}

void live_addin::hear(std::string_view line)
{
    const trace_line parts = parse_trace_line(line);
    outcome_.hear(parts);
    const std::lock_guard guard(lock_);
    lines_.push_back(std::to_string(parts.level) + " " + std::string(parts.logger) + " " + std::string(parts.text));
}

void live_addin::connect(const std::wstring& version)
{
    program_ = MakeCom<application>(version);
    addin_ = std::make_unique<connected_addin>(create_addin(prog_id), program_);
    addin_->startup_complete();
    client_ = std::make_unique<outlook_client>(program_, outcome_);
}

void live_addin::disconnect()
{
    client_.reset();
    addin_.reset();
    program_ = nullptr;
}

void live_addin::end_process(unsigned status)
{
    around->forget_registry();
    ExitProcess(status);
}

service::scan_server& live_addin::start_service()
{
    services_.push_back(std::make_unique<service::scan_server>(service::server_options{}));
    services_.back()->start();
    tell_port(services_.back()->port());
    return *services_.back();
}

std::vector<std::string> live_addin::take_lines()
{
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
}

std::vector<std::string> live_addin::only(const std::vector<std::string>& lines, const std::string& beginning)
{
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&beginning](const std::string& line) { return line.starts_with(beginning); });
    return found;
}

std::shared_ptr<message_record> plain_message(const std::string& body)
{
    static int made = 0;
    auto message = std::make_shared<message_record>();
    property_bag& properties = *message->properties;
    properties.set(PR_ENTRYID, property_value::of_binary(bytes_of("entry " + std::to_string(++made))));
    properties.set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    properties.set(PR_SUBJECT_W, property_value::of_text(L"Crane inspection"));
    properties.set(PR_NATIVE_BODY_INFO, property_value::of_long(1));
    properties.set(PR_BODY_W, property_value::of_text(std::wstring(body.begin(), body.end())));
    return message;
}

std::string condemned_text()
{
    return service::antivirus_test_text();
}

void attach(message_record& message, const std::wstring& name, const std::string& contents)
{
    const std::uint32_t number = message.attachments.empty() ? 0 : message.attachments.rbegin()->first + 1;
    property_bag& properties = *message.attachments[number].properties;
    properties.set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    properties.set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(name));
    properties.set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of(contents)));
}

bool module_in_use()
{
    const HMODULE module = GetModuleHandleW(L"postwarden.dll");
    if (!module) {
        return false;
    }
    using can_unload = HRESULT(STDAPICALLTYPE*)();
    const auto ask = reinterpret_cast<can_unload>(reinterpret_cast<void*>(GetProcAddress(module, "DllCanUnloadNow")));
    return ask() != S_OK;
}

} // namespace host::test
