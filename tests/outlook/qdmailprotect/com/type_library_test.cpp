#include "outlook/qdmailprotect/check/item_events.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/com/type_information.h"
#include "outlook/qdmailprotect/mapi/late_bound.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"

#include <gtest/gtest.h>

namespace {

using test::com_fixture;

/// A text of the type library.
class bstr
{
public:
    bstr() = default;
    bstr(const bstr&) = delete;
    bstr& operator=(const bstr&) = delete;
    ~bstr() { SysFreeString(text_); }
    BSTR* operator&() noexcept { return &text_; }
    [[nodiscard]] std::wstring text() const { return text_ ? text_ : L""; }

private:
    BSTR text_ = nullptr;
};

std::wstring name_of(ITypeInfo* information, MEMBERID member)
{
    bstr name;
    EXPECT_EQ(information->GetDocumentation(member, &name, nullptr, nullptr, nullptr), S_OK);
    return name.text();
}

std::wstring help_of(ITypeInfo* information)
{
    bstr help;
    EXPECT_EQ(information->GetDocumentation(MEMBERID_NIL, nullptr, &help, nullptr, nullptr), S_OK);
    return help.text();
}

/// Returns the operations of an interface in the order of its table, each with its offset in slots.
std::vector<std::pair<std::wstring, int>> operations_of(REFIID iid)
{
    std::vector<std::pair<std::wstring, int>> found;
    ComPtr<ITypeInfo> information;
    EXPECT_EQ(LoadTypeInformation(iid, information), S_OK);
    for (UINT index = 0; information; ++index) {
        FUNCDESC* function = nullptr;
        if (FAILED(information->GetFuncDesc(index, &function))) {
            break;
        }
        found.emplace_back(name_of(information.get(), function->memid),
                           function->oVft / static_cast<int>(sizeof(void*)));
        information->ReleaseFuncDesc(function);
    }
    return found;
}

using table = std::vector<std::pair<std::wstring, int>>;

TEST(type_library, is_in_the_modules_resources)
{
    ComPtr<ITypeLib> library;
    ASSERT_EQ(LoadTypeLibEx(OwnModulePath().c_str(), REGKIND_NONE, Receive(library)), S_OK);
    bstr name;
    ASSERT_EQ(library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(name.text(), L"QDMailProtectLib");
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, LIBID_QDMailProtectLib);
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->syskind, SYS_WIN64);
    library->ReleaseTLibAttr(attributes);
}

TEST(type_library, names_the_class_and_the_internal_one)
{
    ComPtr<ITypeInfo> connect;
    ASSERT_EQ(LoadTypeInformation(CLSID_Connect, connect), S_OK);
    EXPECT_EQ(name_of(connect.get(), MEMBERID_NIL), L"Connect");
    EXPECT_EQ(help_of(connect.get()), L"Connect Class");

    ComPtr<ITypeInfo> handler;
    ASSERT_EQ(LoadTypeInformation(IID_IMailItemEventHandler, handler), S_OK);
    EXPECT_EQ(name_of(handler.get(), MEMBERID_NIL), L"IMailItemEventHandler");
    EXPECT_EQ(help_of(handler.get()), L"IMailItemEventHandler Interface");
}

TEST(type_library, keeps_the_internal_class_from_being_created)
{
    ComPtr<ITypeLib> library;
    ASSERT_EQ(LoadTypeLibEx(OwnModulePath().c_str(), REGKIND_NONE, Receive(library)), S_OK);
    bool found = false;
    for (UINT index = 0; index < library->GetTypeInfoCount(); ++index) {
        ComPtr<ITypeInfo> information;
        ASSERT_EQ(library->GetTypeInfo(index, Receive(information)), S_OK);
        if (name_of(information.get(), MEMBERID_NIL) == L"MailItemEventHandler") {
            found = true;
            EXPECT_EQ(help_of(information.get()), L"MailItemEventHandler Class");
            TYPEATTR* attributes = nullptr;
            ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
            EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
            EXPECT_EQ(attributes->wTypeFlags & TYPEFLAG_FCANCREATE, 0);
            information->ReleaseTypeAttr(attributes);
        }
    }
    EXPECT_TRUE(found);
}

TEST(type_library, describes_the_tables_as_they_are)
{
    EXPECT_EQ(operations_of(IID_IMailItemEventHandler), (table{{L"Advise", 3}, {L"Unadvise", 4}}));
    EXPECT_EQ(operations_of(IID_IMailItemNotifications), (table{{L"OnReadComplete", 3},
                                                                {L"OnUnload", 4},
                                                                {L"OnSend", 5},
                                                                {L"OnBeforeRead", 6},
                                                                {L"OnBeforeAttachmentRead", 7}}));
    EXPECT_EQ(operations_of(IID__IDTExtensibility2), (table{{L"OnConnection", 7},
                                                            {L"OnDisconnection", 8},
                                                            {L"OnAddInsUpdate", 9},
                                                            {L"OnStartupComplete", 10},
                                                            {L"OnBeginShutdown", 11}}));
}

TEST(type_library, does_not_take_the_registration_of_foreign_interfaces)
{
    for (const IID& iid : {IID__IDTExtensibility2, IID_IMailItemNotifications, IID_IMailItemEventHandler}) {
        ComPtr<ITypeInfo> information;
        ASSERT_EQ(LoadTypeInformation(iid, information), S_OK);
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
        EXPECT_EQ(attributes->wTypeFlags & TYPEFLAG_FOLEAUTOMATION, 0);
        information->ReleaseTypeAttr(attributes);
    }
}

// --- calls by name

class late_bound : public com_fixture
{
protected:
    static ComPtr<IDispatch> dispatch_of(const ComPtr<CConnect>& of, REFIID iid)
    {
        ComPtr<IDispatch> found;
        EXPECT_EQ(of->QueryInterface(iid, Receive(found)), S_OK);
        return found;
    }
    static HRESULT id_of(IDispatch* of, std::wstring name, DISPID& id)
    {
        LPOLESTR names[] = {name.data()};
        return of->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
    }
};

TEST_F(late_bound, calls_reach_the_add_in_interface)
{
    const auto dispatch = dispatch_of(addin, IID__IDTExtensibility2);
    DISPID id = 0;
    ASSERT_EQ(id_of(dispatch.get(), L"OnStartupComplete", id), S_OK);
    EXPECT_EQ(id, 4);
    EXPECT_EQ(id_of(dispatch.get(), L"OnNothing", id), DISP_E_UNKNOWNNAME);

    SAFEARRAY* custom = SafeArrayCreateVector(VT_VARIANT, 1, 0);
    VARIANT argument{};
    argument.vt = VT_ARRAY | VT_VARIANT | VT_BYREF;
    argument.pparray = &custom;
    DISPPARAMS parameters{&argument, nullptr, 1, 0};
    Variant result;
    EXPECT_EQ(dispatch->Invoke(4, IID_NULL, 0, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr), S_OK);
    EXPECT_TRUE(log.contains("Add-in startup complete"));
    SafeArrayDestroy(custom);
}

TEST_F(late_bound, calls_bring_the_application)
{
    const auto dispatch = dispatch_of(addin, IID__IDTExtensibility2);
    SAFEARRAY* custom = SafeArrayCreateVector(VT_VARIANT, 1, 0);
    VARIANT arguments[4]{}; // last first
    arguments[0].vt = VT_ARRAY | VT_VARIANT | VT_BYREF;
    arguments[0].pparray = &custom;
    arguments[1].vt = VT_DISPATCH;
    arguments[2].vt = VT_I4;
    arguments[3].vt = VT_DISPATCH;
    arguments[3].pdispVal = outlook.get();
    DISPPARAMS parameters{arguments, nullptr, 4, 0};
    Variant result;
    EXPECT_EQ(dispatch->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr), S_OK);
    EXPECT_TRUE(log.contains("-===  Add-in initialization succeeded"));
    EXPECT_EQ(outlook->subscriptions(), 1U);
    SafeArrayDestroy(custom);
}

TEST_F(late_bound, interface_of_the_class_has_no_operations)
{
    const auto dispatch = dispatch_of(addin, IID_IDispatch);
    DISPID id = 0;
    EXPECT_EQ(id_of(dispatch.get(), L"OnConnection", id), DISP_E_UNKNOWNNAME);
    DISPPARAMS none{};
    Variant result;
    EXPECT_EQ(dispatch->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, &result, nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);
}

TEST_F(late_bound, descriptions_can_be_had)
{
    const auto dispatch = dispatch_of(addin, IID__IDTExtensibility2);
    UINT count = 0;
    EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(dispatch->GetTypeInfoCount(nullptr), E_POINTER);
    ComPtr<ITypeInfo> information;
    EXPECT_EQ(dispatch->GetTypeInfo(0, 0, Receive(information)), S_OK);
    EXPECT_EQ(name_of(information.get(), MEMBERID_NIL), L"_IDTExtensibility2");
    EXPECT_EQ(dispatch->GetTypeInfo(1, 0, Receive(information)), DISP_E_BADINDEX);
    EXPECT_EQ(dispatch->GetTypeInfo(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(dispatch->GetIDsOfNames(IID_IDispatch, nullptr, 0, 0, nullptr), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(dispatch->Invoke(1, IID_IDispatch, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
              DISP_E_UNKNOWNINTERFACE);
}

} // namespace
