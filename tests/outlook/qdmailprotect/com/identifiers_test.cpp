#include "outlook/qdmailprotect/com/extensibility.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/com/resource_ids.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "tests/outlook/qdmailprotect/support/identifier_text.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

// The identifiers by which the mail client and the add-in know each other, written out.

namespace {

using test::identifier_text;

TEST(identifiers, of_the_add_in_are_fixed)
{
    EXPECT_EQ(identifier_text(CLSID_Connect), "73701B94-160C-49E1-91DF-B8CEAAD06DC1");
    EXPECT_EQ(identifier_text(LIBID_QDMailProtectLib), "76951965-F88C-48B4-A590-F88BF9590523");
    EXPECT_EQ(identifier_text(IID_IConnect), "2B6E9A14-53C7-4E0D-A17F-940C6D3E825B");
    EXPECT_EQ(identifier_text(IID__IDTExtensibility2), "B65AD801-ABAF-11D0-BB8B-00A0C90F2744");
    EXPECT_EQ(TypeLibraryMajor, 1);
    EXPECT_EQ(TypeLibraryMinor, 0);
    EXPECT_EQ(IDR_TYPE_LIBRARY, 1);
    EXPECT_EQ(IDR_REGISTRY_SCRIPT, 101);
}

TEST(identifiers, of_the_mail_client_are_fixed)
{
    EXPECT_EQ(identifier_text(IID_OutlookApplication), "00063001-0000-0000-C000-000000000046");
    EXPECT_EQ(identifier_text(IID_ApplicationEvents), "0006302C-0000-0000-C000-000000000046");
    EXPECT_EQ(identifier_text(IID_ItemEvents), "0006302B-0000-0000-C000-000000000046");
    EXPECT_EQ(DispIdApplicationName, 0x3001);
    EXPECT_EQ(DispIdApplicationVersion, 0x0116);
    EXPECT_EQ(DispIdNewMail, 0xFAB5);
    EXPECT_EQ(DispIdItemLoad, 0xFBA7);
    EXPECT_EQ(DispIdReadComplete, 0xFC8F);
    EXPECT_EQ(DispIdUnload, 0xFBAD);
    EXPECT_EQ(DispIdSend, 0xF005);
    EXPECT_EQ(DispIdBeforeRead, 0xFC8C);
    EXPECT_EQ(DispIdMapiObject, 0xF100);
    EXPECT_EQ(DispIdAttachmentFileName, 0x3704);
    EXPECT_EQ(DispIdAttachmentDisplayName, 0x3001);
}

TEST(identifiers, of_the_type_library_are_fixed)
{
    ComPtr<ITypeLib> library;
    ASSERT_EQ(LoadTypeLibEx(OwnModulePath().c_str(), REGKIND_NONE, Receive(library)), S_OK);
    std::set<std::string> found;
    for (UINT index = 0; index < library->GetTypeInfoCount(); ++index) {
        ComPtr<ITypeInfo> information;
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(library->GetTypeInfo(index, Receive(information)), S_OK);
        ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
        found.insert(identifier_text(attributes->guid));
        information->ReleaseTypeAttr(attributes);
    }
    EXPECT_EQ(found, (std::set<std::string>{
                         "2B6E9A14-53C7-4E0D-A17F-940C6D3E825B", // IConnect
                         "5E0A3C6F-7B0D-4D5B-8E3B-1C0B6C5241A7", // IMailItemEventHandler
                         "73701B94-160C-49E1-91DF-B8CEAAD06DC1", // Connect
                         "7D2D078B-9609-4459-BA93-68E419354924", // IMailItemNotifications
                         "B65AD801-ABAF-11D0-BB8B-00A0C90F2744", // _IDTExtensibility2
                         "C4D1E6B2-0F58-4B93-9A6E-7F21D85C3A90", // MailItemEventHandler
                     }));
}

} // namespace
