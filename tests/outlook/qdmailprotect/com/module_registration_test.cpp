// The module itself, registered by the system's program: the registry after registration and after removal.
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tests/outlook/qdmailprotect/com/support/loaded_module.h"
#include "tests/outlook/qdmailprotect/com/support/registry_tree.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using lines = std::vector<std::wstring>;
using test::loaded_module;
using test::module_copy;
using test::registry_tree;
using test::run_program;

const std::wstring Classes = L"Software\\Classes\\";
const std::wstring AddIns = L"Software\\Microsoft\\Office\\Outlook\\Addins";
const std::wstring AddIn = AddIns + L"\\QDMailProtect.Connect";
const std::wstring ClassKey = L"CLSID\\{73701B94-160C-49E1-91DF-B8CEAAD06DC1}";
const std::wstring LibraryKey = L"TypeLib\\{76951965-F88C-48B4-A590-F88BF9590523}";
const std::wstring InterfaceKey = L"Interface\\{2B6E9A14-53C7-4E0D-A17F-940C6D3E825B}";
/// Interfaces of the type library that the add-in must not register.
const lines ForeignInterfaces = {L"Interface\\{B65AD801-ABAF-11D0-BB8B-00A0C90F2744}",
                                 L"Interface\\{7D2D078B-9609-4459-BA93-68E419354924}",
                                 L"Interface\\{5E0A3C6F-7B0D-4D5B-8E3B-1C0B6C5241A7}"};

class module_registration : public ::testing::Test
{
protected:
    void TearDown() override
    {
        unregister();
        unregister_for_user();
        test::remove_registry_tree(HKEY_LOCAL_MACHINE, AddIns + L"\\Another.AddIn");
    }
    [[nodiscard]] std::wstring quoted_path() const { return L"\"" + copy.path() + L"\""; }
    [[nodiscard]] int register_it() const { return run_program(L"regsvr32.exe /s " + quoted_path()); }
    [[nodiscard]] int register_for_user() const { return run_program(L"regsvr32.exe /s /n /i:user " + quoted_path()); }
    int unregister() const { return run_program(L"regsvr32.exe /s /u " + quoted_path()); }
    int unregister_for_user() const { return run_program(L"regsvr32.exe /s /u /n /i:user " + quoted_path()); }

    /// Returns the entries that the script writes, with the classes under `prefix`.
    [[nodiscard]] lines class_entries(const std::wstring& prefix) const
    {
        lines expected{
            prefix + L"QDMailProtect.Connect.1",
            prefix + L"QDMailProtect.Connect.1: @ = \"Connect Class\"",
            prefix + L"QDMailProtect.Connect.1\\CLSID",
            prefix + L"QDMailProtect.Connect.1\\CLSID: @ = \"{73701B94-160C-49E1-91DF-B8CEAAD06DC1}\"",
            prefix + L"QDMailProtect.Connect",
            prefix + L"QDMailProtect.Connect: @ = \"Connect Class\"",
            prefix + L"QDMailProtect.Connect\\CurVer",
            prefix + L"QDMailProtect.Connect\\CurVer: @ = \"QDMailProtect.Connect.1\"",
            prefix + ClassKey,
            prefix + ClassKey + L": @ = \"Connect Class\"",
            prefix + ClassKey + L"\\ProgID",
            prefix + ClassKey + L"\\ProgID: @ = \"QDMailProtect.Connect.1\"",
            prefix + ClassKey + L"\\VersionIndependentProgID",
            prefix + ClassKey + L"\\VersionIndependentProgID: @ = \"QDMailProtect.Connect\"",
            prefix + ClassKey + L"\\Programmable",
            prefix + ClassKey + L"\\InprocServer32",
            prefix + ClassKey + L"\\InprocServer32: @ = \"" + copy.path() + L"\"",
            prefix + ClassKey + L"\\InprocServer32: ThreadingModel = \"Apartment\"",
            prefix + ClassKey + L"\\TypeLib",
            prefix + ClassKey + L"\\TypeLib: @ = \"{76951965-F88C-48B4-A590-F88BF9590523}\"",
            prefix + ClassKey + L"\\Version",
            prefix + ClassKey + L"\\Version: @ = \"1.0\"",
        };
        std::sort(expected.begin(), expected.end());
        return expected;
    }
    static lines class_tree(HKEY root)
    {
        lines found;
        for (const wchar_t* name : {L"QDMailProtect.Connect.1", L"QDMailProtect.Connect", ClassKey.c_str()}) {
            const lines part = registry_tree(root, Classes + name);
            found.insert(found.end(), part.begin(), part.end());
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    static lines library_tree()
    {
        lines found = registry_tree(HKEY_LOCAL_MACHINE, Classes + LibraryKey);
        const lines interface_ = registry_tree(HKEY_LOCAL_MACHINE, Classes + InterfaceKey);
        found.insert(found.end(), interface_.begin(), interface_.end());
        return found;
    }
    static void expect_nothing_left()
    {
        EXPECT_EQ(class_tree(HKEY_LOCAL_MACHINE), lines{});
        EXPECT_EQ(class_tree(HKEY_CURRENT_USER), lines{});
        EXPECT_EQ(library_tree(), lines{});
        EXPECT_EQ(registry_tree(HKEY_LOCAL_MACHINE, AddIn), lines{});
        EXPECT_EQ(registry_tree(HKEY_CURRENT_USER, AddIn), lines{});
    }
    static const lines& add_in_entries()
    {
        static const lines expected{AddIn, AddIn + L": Description = \"Morvelane Lab Outlook Addin\"",
                                    AddIn + L": FriendlyName = \"Morvelane Lab Outlook Addin\"",
                                    AddIn + L": LoadBehavior = 3"};
        return expected;
    }

    module_copy copy{L"postwarden it's re\u00FCgistered"};
};

TEST_F(module_registration, for_the_machine_writes_what_the_client_looks_for)
{
    ASSERT_EQ(register_it(), 0);
    EXPECT_EQ(class_tree(HKEY_LOCAL_MACHINE), class_entries(Classes));
    EXPECT_EQ(class_tree(HKEY_CURRENT_USER), lines{});
    EXPECT_EQ(registry_tree(HKEY_LOCAL_MACHINE, AddIn), add_in_entries());
    EXPECT_EQ(registry_tree(HKEY_CURRENT_USER, AddIn), lines{});
    EXPECT_EQ(unregister(), 0);
    expect_nothing_left();
}

TEST_F(module_registration, includes_the_type_library)
{
    ASSERT_EQ(register_it(), 0);
    const lines tree = registry_tree(HKEY_LOCAL_MACHINE, Classes + LibraryKey);
    const auto has = [&tree](const std::wstring& line) {
        return std::find(tree.begin(), tree.end(), Classes + LibraryKey + line) != tree.end();
    };
    EXPECT_TRUE(has(L"\\1.0: @ = \"QDMailProtect 1.0 Type Library\""));
    EXPECT_TRUE(has(L"\\1.0\\0\\win64: @ = \"" + copy.path() + L"\""));
    EXPECT_FALSE(registry_tree(HKEY_LOCAL_MACHINE, Classes + InterfaceKey).empty());
    for (const std::wstring& foreign : ForeignInterfaces) {
        EXPECT_EQ(registry_tree(HKEY_LOCAL_MACHINE, Classes + foreign), lines{});
    }
    EXPECT_EQ(unregister(), 0);
    expect_nothing_left();
}

TEST_F(module_registration, for_the_user_writes_the_users_classes)
{
    ASSERT_EQ(register_for_user(), 0);
    EXPECT_EQ(class_tree(HKEY_CURRENT_USER), class_entries(Classes));
    EXPECT_EQ(class_tree(HKEY_LOCAL_MACHINE), lines{});
    EXPECT_EQ(registry_tree(HKEY_LOCAL_MACHINE, AddIn), add_in_entries()) << "the entry of the client is the machine's";
    EXPECT_EQ(unregister_for_user(), 0);
    expect_nothing_left();
}

TEST_F(module_registration, may_be_made_and_taken_back_twice)
{
    ASSERT_EQ(register_it(), 0);
    EXPECT_EQ(register_it(), 0);
    EXPECT_EQ(class_tree(HKEY_LOCAL_MACHINE), class_entries(Classes));
    EXPECT_EQ(unregister(), 0);
    EXPECT_EQ(unregister(), 0);
    expect_nothing_left();
}

TEST_F(module_registration, replaces_the_class_whole)
{
    ASSERT_TRUE(test::write_registry_text(HKEY_LOCAL_MACHINE, Classes + ClassKey + L"\\Stray", {}, L"from before"));
    ASSERT_EQ(register_it(), 0);
    EXPECT_EQ(class_tree(HKEY_LOCAL_MACHINE), class_entries(Classes));
}

TEST_F(module_registration, leaves_the_clients_other_add_ins)
{
    const std::wstring other = AddIns + L"\\Another.AddIn";
    ASSERT_TRUE(test::write_registry_text(HKEY_LOCAL_MACHINE, other, L"FriendlyName", L"Another"));
    ASSERT_EQ(register_it(), 0);
    ASSERT_EQ(unregister(), 0);
    EXPECT_EQ(registry_tree(HKEY_LOCAL_MACHINE, other), (lines{other, other + L": FriendlyName = \"Another\""}));
}

TEST_F(module_registration, lets_com_find_the_class)
{
    ASSERT_EQ(register_it(), 0);
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    CLSID id{};
    EXPECT_EQ(CLSIDFromProgID(L"QDMailProtect.Connect.1", &id), S_OK);
    {
        ComPtr<IUnknown> object;
        EXPECT_EQ(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, Receive(object)), S_OK);
        EXPECT_NE(GetModuleHandleW(L"postwarden.dll"), nullptr);
    }
    CoFreeUnusedLibraries();
    CoUninitialize();
    EXPECT_EQ(GetModuleHandleW(L"postwarden.dll"), nullptr) << "nothing keeps the module";
}

} // namespace
