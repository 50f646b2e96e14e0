#pragma once

#include "client/model/application.h"
#include "client/model/items.h"
#include "outlook/qdmailprotect/com/connect.h"
#include "tests/outlook/qdmailprotect/com/support/fake_environment.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/scripted_converter.h"
#include "tests/outlook/qdmailprotect/support/scripted_scanner.h"
#include "tests/support/log_capture.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace test {

/// A CConnect over a scripted link, store and environment, and a mail client to connect it to. At the end of the test
/// no reference to the module and no object of the store may exist.
class com_fixture : public ::testing::Test
{
protected:
    com_fixture();
    void TearDown() override;

    HRESULT connect_to(IDispatch* application);
    /// Connects to `outlook`, which must succeed, and discards the log lines so far.
    void connected();
    HRESULT disconnect() { return addin->OnDisconnection(0, nullptr); }

    /// Creates an item of the mail client over a new message with an entry identifier and a plain body.
    ComPtr<host::outlook_item> new_item(const IID& kind = IID_MailItem);
    /// Returns the lines so far as "LEVEL text", without those of failed property reads.
    [[nodiscard]] std::vector<std::string> lines() const { return leveled_without_reads(log); }
    /// Returns a text followed by a pointer in parentheses, as in the lines of events.
    static std::string at(const char* text, const void* pointer);

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    log_capture log;
    scripted_store store;
    still_clock clock;
    fixed_session session;
    std::shared_ptr<scripted_link> link = std::make_shared<scripted_link>();
    std::shared_ptr<scripted_pool> pool = link->pool; ///< kept when the link drops it
    scripted_converter converter{store};
    std::shared_ptr<noting_disinfector> disinfector = std::make_shared<noting_disinfector>();
    std::shared_ptr<fake_environment> environment = std::make_shared<fake_environment>();
    std::shared_ptr<LocalisedStrings> strings = std::make_shared<LocalisedStrings>();
    ComPtr<host::application> outlook = MakeCom<host::application>(L"16.0.0.0");
    ComPtr<CConnect> addin;

private:
    std::vector<std::unique_ptr<stored_message>> messages_;
};

} // namespace test
