#pragma once

#include "outlook/qdmailprotect/results/check_results.h"
#include "store/attach_object.h"
#include "store/message_object.h"
#include "tests/outlook/qdmailprotect/support/traced_store.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Messages of the in-memory store behind a trace, and looks into them from behind it.
namespace test {

/// One value as text: numbers in decimal, text in UTF-8, bytes as they are. Nothing for a property that isn't there.
std::optional<std::string> value_of(const host::property_bag& properties, ULONG tag);

/// All properties, by tag.
std::map<ULONG, std::string> values_of(const host::property_bag& properties);

/// An attachment of method 1 as mail brings it.
host::attachment_record file_attachment(std::wstring_view name, const std::string& contents);

/// A message with a sender, a subject, a plain and an HTML body and whatever a test adds; opened behind a trace.
class stored_message
{
public:
    /// `name` among the calls. `names` of another message for one of the same store.
    explicit stored_message(store_trace& trace, std::string name = "message",
                            std::shared_ptr<host::store_context> store = nullptr);

    void attach(std::uint32_t number, std::wstring_view name, const std::string& contents);
    /// Attaches a message with a subject and a plain body.
    void attach_message(std::uint32_t number, std::wstring_view subject, std::wstring_view text);
    /// Makes an attachment one that the check skips, a link to a file elsewhere.
    void never_scanned(std::uint32_t number);
    void set_text(ULONG tag, std::wstring_view text);
    void set_number(ULONG tag, std::int64_t number);
    void remove(ULONG tag);
    /// Gives the message the named property that makes it an encrypted one.
    void make_encrypted();

    /// The open object, made at the first call; what is added to the message afterwards doesn't show in it.
    traced_message& object();
    /// A reference as a callee takes it over.
    [[nodiscard]] ComPtr<IMessage> reference() { return object().reference(); }
    /// Ends the object.
    void close();

    /// The message as its open object shows it.
    [[nodiscard]] const host::message_record& now();
    [[nodiscard]] std::optional<std::string> value(ULONG tag);
    [[nodiscard]] std::optional<std::string> value(std::uint32_t attachment, ULONG tag);
    /// Number and name of each attachment: "0 a.txt".
    [[nodiscard]] std::vector<std::string> attachments();
    [[nodiscard]] const std::shared_ptr<host::store_context>& store() const noexcept { return record_.store; }

    int saves = 0; ///< of the message itself

private:
    store_trace& trace_;
    std::string name_;
    host::message_record record_;
    ComPtr<host::message_object> inner_;
    ComPtr<traced_message> object_;
};

/// A condemned attachment's record as the check leaves it.
AttachmentResult condemned_record(std::uint32_t number, std::wstring name, std::string notice);

} // namespace test
