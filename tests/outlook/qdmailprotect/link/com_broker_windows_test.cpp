// Settings loads over COM: with the stand-in broker, which each test registers and unregisters for the machine, and
// with classes of the tests. On a machine with another broker nothing is changed, and the tests fail.

#include "outlook/qdmailprotect/link/com_broker_windows.h"
#include "outlook/qdmailprotect/link/scanner_link.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/com_object.h"
#include "settings/settings_blob.h"
#include "tests/outlook/qdmailprotect/link/link_fixture.h"

#include <platform/handles.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using test::settings_of;
using texts = std::vector<std::string>;

constexpr const wchar_t* config_key = L"Software\\postwarden\\Broker";
constexpr const wchar_t* program_key = L"Software\\Classes\\QD.SecurityLayerProvider";

constexpr const wchar_t* stand_in_class = L"{5F0B6E6C-3C0E-4C0B-9A53-2E4B7B8D61A7}";
constexpr const wchar_t* own_class_text = L"{7D6F2B11-40B5-4B0E-8E0A-3D526C1F9011}";
constexpr const wchar_t* no_class = L"{2C4A1C1E-9F5B-4B43-8D33-0C5B3A6F4E01}";

void set_text(HKEY root, const wchar_t* key, const wchar_t* name, const std::wstring& text)
{
    ASSERT_EQ(::RegSetKeyValueW(root, key, name, REG_SZ, text.c_str(),
                                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

/// Returns the class of the registered broker; empty if none is registered.
std::wstring registered_class()
{
    std::array<wchar_t, 64> text{};
    DWORD size = sizeof(text);
    const std::wstring key = std::wstring(program_key) + L"\\CLSID";
    const LONG code =
        ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text.data(), &size);
    return code == ERROR_SUCCESS ? text.data() : L"";
}

/// Registers a class as the broker's.
void register_class(const wchar_t* text)
{
    set_text(HKEY_LOCAL_MACHINE, (std::wstring(program_key) + L"\\CLSID").c_str(), nullptr, text);
}

/// A link over the real broker's interface, without any registration except that of the test.
class ComBrokerTest : public ::testing::Test
{
protected:
    ComBrokerTest()
    {
        clean();
        if (!registered_class().empty()) {
            throw std::runtime_error("this machine has a broker that is not the tests'");
        }
        std::array<wchar_t, MAX_PATH> folder{};
        ::GetTempPathW(MAX_PATH, folder.data());
        file =
            std::filesystem::path(folder.data()) / (L"broker-" + std::to_wstring(::GetCurrentProcessId()) + L".blob");
        ScannerLinkServices services;
        services.broker = std::make_shared<ComBroker>();
        services.presence = std::make_shared<test::switched_presence>();
        services.timers = std::make_unique<test::manual_timers>(timer);
        link = std::make_unique<ScannerLink>(std::move(services));
    }
    ~ComBrokerTest() override
    {
        link.reset();
        clean();
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
    }

    void serve(const DOVA::Settings::WebTrafficMonitorSettings& settings) const
    {
        const auto blob = DOVA::Settings::BlobFromSettings(settings);
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(blob.data()), static_cast<std::streamsize>(blob.size()));
        set_text(HKEY_CURRENT_USER, config_key, L"SettingsFile", file.wstring());
    }
    texts load()
    {
        log.clear();
        link->LoadSettings();
        texts lines;
        for (const auto& line : log.lines()) {
            if (line.logger == "outlook") {
                lines.push_back(std::to_string(line.level) + " " + line.text);
            }
        }
        return lines;
    }
    /// Returns true if this thread is in no apartment.
    static bool outside_apartments()
    {
        const HRESULT entered = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        if (SUCCEEDED(entered)) {
            ::CoUninitialize();
        }
        return entered == S_OK;
    }

    test::log_capture log;
    test::timer_journal timer;
    std::filesystem::path file;
    std::unique_ptr<ScannerLink> link;

private:
    static void clean()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, config_key);
        const std::wstring found = registered_class();
        if (found == stand_in_class || found == own_class_text || found == no_class) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, program_key);
        }
    }
};

std::wstring full_path(const std::string& given)
{
    std::array<wchar_t, MAX_PATH> full{};
    ::GetFullPathNameW(std::wstring(given.begin(), given.end()).c_str(), MAX_PATH, full.data(), nullptr);
    return full.data();
}

/// The stand-in broker, registered during the lifetime of the object.
class registered_broker
{
public:
    registered_broker()
        : module_(::LoadLibraryW(path().c_str()))
    {
        if (!module_) {
            ADD_FAILURE() << "no module: " << ::GetLastError();
            return;
        }
        EXPECT_EQ(call("DllRegisterServer"), S_OK);
    }
    registered_broker(const registered_broker&) = delete;
    registered_broker& operator=(const registered_broker&) = delete;
    ~registered_broker()
    {
        if (module_) {
            EXPECT_EQ(call("DllUnregisterServer"), S_OK);
            EXPECT_EQ(registered_class(), L"");
            EXPECT_EQ(call("DllCanUnloadNow"), S_OK) << "something is left";
        }
    }

    static std::wstring path() { return full_path(BROKER_MODULE); }

private:
    [[nodiscard]] void* find(const char* name) const
    {
        return reinterpret_cast<void*>(::GetProcAddress(module_.get(), name));
    }
    [[nodiscard]] HRESULT call(const char* name) const { return reinterpret_cast<HRESULT(WINAPI*)()>(find(name))(); }
    winapi::module_handle module_;
};

/// The registration of the current user.
TEST(StandInBroker, IsRegisteredForTheUserAloneWhenToldSo)
{
    const winapi::module_handle module(::LoadLibraryW(registered_broker::path().c_str()));
    ASSERT_TRUE(module);
    const auto install = reinterpret_cast<HRESULT(WINAPI*)(BOOL, LPCWSTR)>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllInstall")));
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + stand_in_class + L"\\InprocServer32";
    const auto value = [&key](const wchar_t* name) -> std::wstring {
        std::array<wchar_t, MAX_PATH> text{};
        DWORD size = sizeof(text);
        const LONG code =
            ::RegGetValueW(HKEY_CURRENT_USER, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
        return code == ERROR_SUCCESS ? text.data() : L"";
    };
    ASSERT_EQ(install(TRUE, L"user"), S_OK);
    EXPECT_EQ(value(nullptr), registered_broker::path());
    EXPECT_EQ(value(L"ThreadingModel"), L"Both");
    EXPECT_EQ(registered_class(), L"") << "the machine's classes stay as they are";
    EXPECT_EQ(install(FALSE, L"user"), S_OK);
    EXPECT_EQ(value(nullptr), L"");
    EXPECT_EQ(install(FALSE, L"user"), S_OK) << "it is gone already";
}

constexpr const char* trying = "500 Trying to load new settings";
constexpr const char* connected = "500 Connection to broker created, loading settings...";

TEST_F(ComBrokerTest, TakesTheSettingsOfAGoodBlob)
{
    const registered_broker broker;
    serve(settings_of(4711, L"scan"));
    EXPECT_EQ(load(), (texts{trying, connected, "500 Product settings loaded",
                             "500 New settings loaded:\r\nserver: 127.0.0.1, port: 4711, uri: '/scan',\r\n"
                             "use plugin: 1, block exec: 1\r\n"}));
    EXPECT_EQ(*link->GetSettings(), settings_of(4711, L"scan"));
    EXPECT_TRUE(outside_apartments());
}

TEST_F(ComBrokerTest, ReadsTheSettingsAnewAtEachLoad)
{
    const registered_broker broker;
    serve(settings_of(1));
    load();
    serve(settings_of(2));
    load();
    EXPECT_EQ(link->GetSettings()->ServerPort.Effective(), 2U);
}

TEST_F(ComBrokerTest, TakesNoBytesFromAValueOfAnotherType)
{
    const registered_broker broker;
    serve(settings_of(4711));
    set_text(HKEY_CURRENT_USER, config_key, L"Answer", L"wrong-type");
    std::string complaint;
    try {
        static_cast<void>(DOVA::Settings::SettingsFromBlob({}));
    } catch (const std::exception& failure) {
        complaint = failure.what();
    }
    EXPECT_EQ(load(), (texts{trying, connected, "200 Load settings failed: " + complaint}));
    EXPECT_EQ(*link->GetSettings(), DOVA::Settings::WebTrafficMonitorSettings());
    EXPECT_TRUE(outside_apartments());
}

TEST_F(ComBrokerTest, TellsTheResultOfAFailedCall)
{
    const registered_broker broker;
    serve(settings_of(4711));
    set_text(HKEY_CURRENT_USER, config_key, L"Answer", L"failure");
    EXPECT_EQ(load(), (texts{trying, connected, "200 Load settings failed: hr=0x80004005"}));
    EXPECT_EQ(*link->GetSettings(), DOVA::Settings::WebTrafficMonitorSettings());
    EXPECT_TRUE(outside_apartments()) << "left after a failure as well";
}

TEST_F(ComBrokerTest, TellsTheResultOfABrokerWithoutItsFile)
{
    const registered_broker broker;
    EXPECT_EQ(load(), (texts{trying, connected, "200 Load settings failed: hr=0x80070002"}));
}

TEST_F(ComBrokerTest, GoesOnWithTheDefaultsWhenNoBrokerIsRegistered)
{
    const texts lines = load();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], trying);
    EXPECT_THAT(lines[1], testing::AnyOf("200 Load settings failed: hr=0x800401f3",   // CO_E_CLASSSTRING
                                         "200 Load settings failed: hr=0x80040154")); // REGDB_E_CLASSNOTREG
    EXPECT_EQ(link->GetSettings()->ServerPort.Effective(), 1345U);
    EXPECT_EQ(link->GetSettings()->Uri.Effective(), L"webscan");
    EXPECT_TRUE(outside_apartments());
}

TEST_F(ComBrokerTest, TellsTheResultOfAnActivationThatFails)
{
    { // registered, but the module has been moved
        const registered_broker broker;
        ASSERT_EQ(load().back(), "200 Load settings failed: hr=0x80070002");
    }
    register_class(no_class);
    EXPECT_EQ(load(), (texts{trying, "200 Load settings failed: hr=0x80040154"}));
}

TEST_F(ComBrokerTest, GoesOnInAnotherApartmentAndStaysInIt)
{
    const registered_broker broker;
    serve(settings_of(4711));
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(load(), (texts{trying, "300 Another apartment was already opened: hr=0x80010106", connected,
                             "500 Product settings loaded",
                             "500 New settings loaded:\r\nserver: 127.0.0.1, port: 4711, uri: '/webscan',\r\n"
                             "use plugin: 1, block exec: 1\r\n"}));
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE) << "it was not left";
    ::CoUninitialize();
    EXPECT_TRUE(outside_apartments());
}

TEST_F(ComBrokerTest, TakesPartInAnApartmentOfTheSameKindWithoutALine)
{
    const registered_broker broker;
    serve(settings_of(4711));
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(load().size(), 4U);
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE) << "it was not left";
    ::CoUninitialize();
    EXPECT_TRUE(outside_apartments());
}

TEST_F(ComBrokerTest, LoadsOnManyThreadsAtOnce)
{
    const registered_broker broker;
    serve(settings_of(4711));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 10; ++round) {
                link->LoadSettings();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(*link->GetSettings(), settings_of(4711));
    EXPECT_FALSE(log.contains("failed"));
}

/// A link with the system's timer, which calls the broker in the apartment of this thread: the first of its kind in the
/// process. A link that does not serve calls while it waits never ends.
TEST_F(ComBrokerTest, EndsWhileTheTimerCallsABrokerOfTheMainApartment)
{
    const registered_broker broker;
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + stand_in_class + L"\\InprocServer32";
    ASSERT_EQ(::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ThreadingModel"), ERROR_SUCCESS);
    // A copy, as Wine never releases a class object that it got in the main apartment for another one.
    set_text(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, full_path(MAIN_APARTMENT_BROKER));
    serve(settings_of(4711));
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    ScannerLinkServices services;
    services.broker = std::make_shared<ComBroker>();
    services.presence = std::make_shared<test::switched_presence>();
    services.newManager = [](const ServerInfo&) -> std::shared_ptr<icap::client::session_pool> {
        throw std::runtime_error("no service");
    };
    ScannerLink live(std::move(services));
    live.Start();
    live.ForceConnection(false); // by the next run of the timer
    while (!log.contains("Trying to load new settings")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(log.contains("Product settings loaded")) << "only this thread can answer";
    live.Stop();
    EXPECT_TRUE(log.contains("Product settings loaded"));
    EXPECT_EQ(live.GetSettings()->ServerPort.Effective(), 4711U);
    ::CoUninitialize(); // the apartment may keep the broker until its end
}

/// Calls the stand-in broker once with these arguments, in their order of passing.
HRESULT call_stand_in(DISPID id, WORD flags, std::vector<VARIANTARG> arguments, const IID& iid = IID_NULL)
{
    ComPtr<IDispatch> broker;
    CLSID id_of_class{};
    EXPECT_EQ(::CLSIDFromProgID(ComBroker::ProgId, &id_of_class), S_OK);
    EXPECT_EQ(::CoCreateInstance(id_of_class, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, Receive(broker)), S_OK);
    if (!broker) {
        return E_POINTER;
    }
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    VARIANT answer;
    ::VariantInit(&answer);
    const HRESULT result = broker->Invoke(id, iid, LOCALE_USER_DEFAULT, flags, &parameters, &answer, nullptr, nullptr);
    ::VariantClear(&answer);
    return result;
}

VARIANTARG number(LONG value, VARTYPE type = VT_I4)
{
    VARIANTARG argument{};
    argument.vt = type;
    argument.lVal = value;
    return argument;
}

TEST_F(ComBrokerTest, StandInAnswersItsOneCallOnly)
{
    const registered_broker broker;
    serve(settings_of(1));
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1)}), S_OK);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1)}, IID_IUnknown), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(call_stand_in(1, DISPATCH_METHOD, {number(1)}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(call_stand_in(2, DISPATCH_PROPERTYGET, {number(1)}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1), number(1)}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1, VT_UI4)}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(0)}), E_INVALIDARG);
    set_text(HKEY_CURRENT_USER, config_key, L"Answer", L"bytes");
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1)}), S_OK);
    set_text(HKEY_CURRENT_USER, config_key, L"Answer", L"something");
    EXPECT_EQ(call_stand_in(2, DISPATCH_METHOD, {number(1)}), E_UNEXPECTED);
    ::CoUninitialize();
}

constexpr CLSID own_class{0x7D6F2B11, 0x40B5, 0x4B0E, {0x8E, 0x0A, 0x3D, 0x52, 0x6C, 0x1F, 0x90, 0x11}};

/// An object whose reply to the call is set by the test.
class scripted_object final : public ComObject<IDispatch>
{
public:
    using answer = std::function<HRESULT(VARIANT&)>;
    scripted_object(bool dispatches, answer give)
        : dispatches_(dispatches)
        , give_(std::move(give))
    {}
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override
    {
        ADD_FAILURE() << "no name is looked up";
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                     EXCEPINFO*, UINT*) override
    {
        EXPECT_EQ(id, 2);
        EXPECT_TRUE(iid == IID_NULL);
        EXPECT_EQ(flags, DISPATCH_METHOD);
        EXPECT_EQ(parameters->cArgs, 1U);
        EXPECT_EQ(parameters->cNamedArgs, 0U);
        EXPECT_EQ(parameters->rgvarg[0].vt, VT_I4);
        EXPECT_EQ(parameters->rgvarg[0].lVal, 1);
        return give_(*result);
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || (dispatches_ && iid == IID_IDispatch) ? static_cast<IDispatch*>(this) : nullptr;
    }

private:
    bool dispatches_;
    answer give_;
};

/// Creates scripted objects for the broker's program identifier during its lifetime.
class scripted_class final : public ComObject<IClassFactory>
{
public:
    scripted_class(bool dispatches, scripted_object::answer give)
        : dispatches_(dispatches)
        , give_(std::move(give))
    {}
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override
    {
        return MakeCom<scripted_object>(dispatches_, give_)->QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
    }

private:
    bool dispatches_;
    scripted_object::answer give_;
};

class OwnBroker : public ComBrokerTest
{
protected:
    OwnBroker()
    {
        EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        register_class(own_class_text);
    }
    ~OwnBroker() override
    {
        ::CoRevokeClassObject(cookie_);
        ::CoUninitialize();
    }
    void answer(scripted_object::answer give, bool dispatches = true)
    {
        const auto factory = MakeCom<scripted_class>(dispatches, std::move(give));
        ASSERT_EQ(::CoRegisterClassObject(own_class, factory.get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_),
                  S_OK);
    }
    /// Creates an array of bytes with the given dimensions, filled in order.
    static HRESULT put_array(VARIANT& value, std::vector<SAFEARRAYBOUND> bounds, const std::vector<std::uint8_t>& bytes)
    {
        SAFEARRAY* const array = ::SafeArrayCreate(VT_UI1, static_cast<UINT>(bounds.size()), bounds.data());
        void* data = nullptr;
        EXPECT_EQ(::SafeArrayAccessData(array, &data), S_OK);
        std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(data));
        ::SafeArrayUnaccessData(array);
        value.vt = VT_ARRAY | VT_UI1;
        value.parray = array;
        return S_OK;
    }
    [[nodiscard]] static SettingsBroker::Bytes bytes()
    {
        ComBroker broker;
        const auto visit = broker.Begin();
        visit->Connect();
        return visit->Load();
    }

private:
    DWORD cookie_ = 0;
};

TEST_F(OwnBroker, GivesTheBytesFromTheLowerToTheUpperBound)
{
    answer([](VARIANT& value) { return put_array(value, {{4, -7}}, {1, 2, 3, 250}); });
    EXPECT_EQ(bytes(), (SettingsBroker::Bytes{1, 2, 3, 250}));
}

TEST_F(OwnBroker, GivesNothingOfAnEmptyArray)
{
    answer([](VARIANT& value) { return put_array(value, {{0, 0}}, {}); });
    EXPECT_EQ(bytes(), SettingsBroker::Bytes{});
}

TEST_F(OwnBroker, GivesNothingOfAnArrayOfTwoDimensions)
{
    answer([](VARIANT& value) { return put_array(value, {{2, 0}, {2, 0}}, {1, 2, 3, 4}); });
    EXPECT_EQ(bytes(), SettingsBroker::Bytes{});
}

TEST_F(OwnBroker, GivesNothingOfOtherValues)
{
    answer([](VARIANT& value) {
        value.vt = VT_I4;
        value.lVal = 4;
        return S_OK;
    });
    EXPECT_EQ(bytes(), SettingsBroker::Bytes{});
}

TEST_F(OwnBroker, GivesNothingWhenTheAnswerHasNoArray)
{
    answer([](VARIANT& value) {
        value.vt = VT_ARRAY | VT_UI1;
        value.parray = nullptr;
        return S_OK;
    });
    EXPECT_EQ(bytes(), SettingsBroker::Bytes{});
}

TEST_F(OwnBroker, IsMissedOnlyWhenItIsUsedIfItIsNotLateBound)
{
    answer([](VARIANT&) { return S_OK; }, false);
    EXPECT_EQ(load(), (texts{trying, connected, "200 Load settings failed: hr=0x80004003"}));
}

} // namespace
