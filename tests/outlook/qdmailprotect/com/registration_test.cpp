#include "outlook/qdmailprotect/com/module.h"
#include "outlook/qdmailprotect/com/registration.h"
#include "outlook/qdmailprotect/com/registration_script.h"

#include <gtest/gtest.h>

namespace {

using texts = std::vector<std::string>;

/// Records its calls.
class noting_registration final : public ServerRegistration
{
public:
    texts calls;
    HRESULT script = S_OK;
    HRESULT library = S_OK;
    std::vector<LCID> locales;

    HRESULT RunScript(RegistrationScope scope, bool install) override
    {
        note(install ? "script" : "script back", scope);
        return script;
    }
    HRESULT RegisterTypeLibrary(RegistrationScope scope) override
    {
        note("library", scope);
        return library;
    }
    HRESULT UnregisterTypeLibrary(RegistrationScope scope) override
    {
        note("library back", scope);
        return library;
    }

private:
    void note(const std::string& call, RegistrationScope scope)
    {
        calls.push_back(call + (scope == RegistrationScope::User ? ", user" : ", machine"));
        locales.push_back(GetThreadLocale());
    }
};

ComPtr<IUnknown> make_nothing()
{
    return nullptr;
}

class registration : public ::testing::Test
{
protected:
    noting_registration noting;
    CQDMailProtectModule module{&make_nothing, noting};
};

TEST_F(registration, is_the_script_and_then_the_type_library)
{
    EXPECT_EQ(module.RegisterServer(), S_OK);
    EXPECT_EQ(noting.calls, (texts{"script, machine", "library, machine"}));
}

TEST_F(registration, ends_at_its_first_failure)
{
    noting.script = E_ACCESSDENIED;
    EXPECT_EQ(module.RegisterServer(), E_ACCESSDENIED);
    EXPECT_EQ(noting.calls, (texts{"script, machine"}));
}

TEST_F(registration, is_taken_back_whole_whatever_fails)
{
    noting.script = E_ACCESSDENIED;
    noting.library = E_FAIL;
    EXPECT_EQ(module.UnregisterServer(), E_ACCESSDENIED);
    EXPECT_EQ(noting.calls, (texts{"script back, machine", "library back, machine"}));
}

TEST_F(registration, runs_under_the_systems_locale_and_puts_the_threads_back)
{
    const LCID before = GetThreadLocale();
    const LCID german = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
    ASSERT_NE(SetThreadLocale(german), FALSE);
    SetThreadLocale(LOCALE_SYSTEM_DEFAULT);
    const LCID system = GetThreadLocale();
    SetThreadLocale(german);
    module.RegisterServer();
    module.UnregisterServer();
    EXPECT_EQ(noting.locales, (std::vector<LCID>(4, system)));
    EXPECT_EQ(GetThreadLocale(), german);
    SetThreadLocale(before);
}

TEST_F(registration, for_the_user_is_asked_for_by_a_word_in_any_case)
{
    for (const wchar_t* word : {L"user", L"USER", L"User"}) {
        noting.calls.clear();
        EXPECT_EQ(module.Install(true, word), S_OK);
        EXPECT_EQ(noting.calls, (texts{"script, user", "library, user"}));
        noting.calls.clear();
        EXPECT_EQ(module.Install(false, word), S_OK);
        EXPECT_EQ(noting.calls, (texts{"script back, user", "library back, user"}));
    }
}

TEST_F(registration, for_the_machine_is_what_every_other_word_gives)
{
    for (const wchar_t* word : {static_cast<const wchar_t*>(nullptr), L"", L"users", L" user", L"machine"}) {
        noting.calls.clear();
        EXPECT_EQ(module.Install(true, word), S_OK);
        EXPECT_EQ(noting.calls, (texts{"script, machine", "library, machine"}));
    }
}

TEST_F(registration, by_install_is_taken_back_when_it_fails)
{
    noting.library = E_FAIL;
    EXPECT_EQ(module.Install(true, L"user"), E_FAIL);
    EXPECT_EQ(noting.calls, (texts{"script, user", "library, user", "script back, user", "library back, user"}));
}

// --- the script

TEST(registration_script, for_the_user_has_the_users_classes)
{
    EXPECT_EQ(ScriptForUser(L"HKCR\n{\n a = s 'b' { c }\n}\n"),
              L"HKCU { NoRemove Software { NoRemove Classes\n{\n a = s 'b' { c }\n} } }\n");
}

TEST(registration_script, for_the_user_leaves_other_roots)
{
    const std::wstring script = L"HKLM { Software { HKCR { x } } }";
    EXPECT_EQ(ScriptForUser(script), script) << "a key that is only called so";
    EXPECT_EQ(ScriptForUser(L"HKLM { a } HKCR { b } HKLM { c }"),
              L"HKLM { a } HKCU { NoRemove Software { NoRemove Classes { b } } } HKLM { c }");
}

TEST(registration_script, for_the_user_sees_through_quotes)
{
    EXPECT_EQ(ScriptForUser(L"HKCR { '}{' = s 'it''s } HKCR' }"),
              L"HKCU { NoRemove Software { NoRemove Classes { '}{' = s 'it''s } HKCR' } } }");
}

TEST(registration_script, takes_a_path_with_quotes)
{
    EXPECT_EQ(QuotedForScript(L"C:\\it's here\\x.dll"), L"C:\\it''s here\\x.dll");
    EXPECT_EQ(QuotedForScript(L""), L"");
}

} // namespace
