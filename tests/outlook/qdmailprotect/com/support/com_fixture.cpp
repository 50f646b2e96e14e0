#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"

#include <sstream>
#include <utility>

namespace test {

com_fixture::com_fixture()
{
    ConnectServices services;
    services.checker = {link, converter.platform(), disinfector, &clock, &session};
    services.environment = environment;
    services.strings = strings;
    addin = MakeCom<CConnect>(std::move(services));
    log.clear();
}

void com_fixture::TearDown()
{
    if (addin) {
        disconnect();
    }
    addin.reset();
    outlook.reset();
    messages_.clear();
    disinfector->body.scanResponse.reset();
    EXPECT_FALSE(ModuleInUse()) << "an object of the module is still held";
    EXPECT_EQ(store.alive, 0) << "a reference was not released";
    EXPECT_EQ(environment->initialized, 0) << "MAPI was not given back";
    EXPECT_EQ(pool->leased, 0) << "a session was not returned";
}

HRESULT com_fixture::connect_to(IDispatch* application)
{
    return addin->OnConnection(application, 1, nullptr, nullptr);
}

void com_fixture::connected()
{
    ASSERT_EQ(connect_to(outlook.get()), S_OK);
    log.clear();
    link->calls.clear();
}

ComPtr<host::outlook_item> com_fixture::new_item(const IID& kind)
{
    stored_message& message = *messages_.emplace_back(empty_message(store));
    message.set_bytes(PR_ENTRYID, "id" + std::to_string(messages_.size()));
    message.set_number(PR_NATIVE_BODY_INFO, 1);
    message.set_bytes(PR_BODY_A, "plain text");
    return MakeCom<host::outlook_item>(kind, identity(message));
}

std::string com_fixture::at(const char* text, const void* pointer)
{
    std::ostringstream line;
    line << text << " (" << pointer << ")";
    return line.str();
}

} // namespace test
