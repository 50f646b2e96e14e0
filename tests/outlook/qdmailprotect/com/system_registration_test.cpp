#include "client/model/class_object.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/com/registration_script.h"
#include "outlook/qdmailprotect/com/resource_ids.h"
#include "outlook/qdmailprotect/com/system_registration.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using texts = std::vector<std::string>;

constexpr CLSID RegistrarClass{0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
constexpr IID RegistrarIid{0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

std::string narrow(LPCOLESTR text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

/// The interface of the system's registrar.
struct RegistrarInterface : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;

protected:
    ~RegistrarInterface() = default;
};

/// Records its calls in a list; a script that is passed as a text is recorded by its first word.
class noting_registrar final : public ComObject<RegistrarInterface>
{
public:
    noting_registrar(texts& calls, HRESULT replacement)
        : calls_(calls)
        , replacement_(replacement)
    {}
    HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) override
    {
        calls_.push_back(narrow(key) + " = " + narrow(item));
        return replacement_;
    }
    HRESULT STDMETHODCALLTYPE ClearReplacements() override { return note("clear"); }
    HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR, LPCOLESTR, LPCOLESTR) override { return note("other"); }
    HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR, LPCOLESTR, LPCOLESTR) override { return note("other"); }
    HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR) override { return note("other"); }
    HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR) override { return note("other"); }
    HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) override { return note("text " + first_word(script)); }
    HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) override
    {
        return note("text back " + first_word(script));
    }
    HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) override
    {
        return note("resource " + narrow(type) + " " + std::to_string(id) + " of " + narrow(file));
    }
    HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id, LPCOLESTR type) override
    {
        return note("resource back " + narrow(type) + " " + std::to_string(id) + " of " + narrow(file));
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == RegistrarIid ? static_cast<RegistrarInterface*>(this) : nullptr;
    }

private:
    HRESULT note(std::string call)
    {
        calls_.push_back(std::move(call));
        return S_OK;
    }
    static std::string first_word(LPCOLESTR script)
    {
        const std::string text = narrow(script);
        return text.substr(0, text.find_first_of(" \r\n{"));
    }

    texts& calls_;
    const HRESULT replacement_;
};

/// The system's registration with a registrar of the test's own in place of the system's.
class system_registration : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        registrar.emplace(RegistrarClass, [this](IUnknown** object) {
            *object = ComPtr<RegistrarInterface>(MakeCom<noting_registrar>(calls, replacement)).detach();
            return S_OK;
        });
    }
    void TearDown() override
    {
        registrar.reset();
        ::CoUninitialize();
    }
    /// Runs the script and returns the calls that follow the replacements.
    texts run(RegistrationScope scope, bool install)
    {
        calls.clear();
        EXPECT_EQ(SystemRegistration().RunScript(scope, install), S_OK);
        if (calls.size() < 2) {
            ADD_FAILURE() << "a replacement is missing";
            return calls;
        }
        EXPECT_EQ(calls[0], "APPID = {3104EC0B-CD0B-44A8-B469-EE0979E22057}");
        EXPECT_EQ(calls[1], "MODULE = " + narrow(QuotedForScript(OwnModulePath()).c_str()));
        return {calls.begin() + 2, calls.end()};
    }

    texts calls;
    HRESULT replacement = S_OK;
    std::optional<host::registered_class> registrar;
};

TEST_F(system_registration, gives_the_registrar_the_identifier_of_the_application_and_the_module)
{
    const std::string resource =
        "REGISTRY " + std::to_string(IDR_REGISTRY_SCRIPT) + " of " + narrow(OwnModulePath().c_str());
    EXPECT_EQ(run(RegistrationScope::Machine, true), (texts{"resource " + resource}));
    EXPECT_EQ(run(RegistrationScope::Machine, false), (texts{"resource back " + resource}));
    EXPECT_EQ(run(RegistrationScope::User, true), (texts{"text HKLM"}));
    EXPECT_EQ(run(RegistrationScope::User, false), (texts{"text back HKLM"}));
}

TEST_F(system_registration, ends_where_a_replacement_is_refused)
{
    replacement = E_OUTOFMEMORY;
    EXPECT_EQ(SystemRegistration().RunScript(RegistrationScope::Machine, true), E_OUTOFMEMORY);
    EXPECT_EQ(calls, (texts{"APPID = {3104EC0B-CD0B-44A8-B469-EE0979E22057}"}));
}

} // namespace
