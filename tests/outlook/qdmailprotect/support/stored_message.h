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

/// Messages of the in-memory store behind a trace, and functions that read them without the trace.
namespace test {

/// Returns one value as text: numbers in decimal, text in UTF-8, bytes unchanged. Returns nothing if the property does
/// not exist.
std::optional<std::string> value_of(const host::property_bag& properties, ULONG tag);

/// Returns all properties by tag.
std::map<ULONG, std::string> values_of(const host::property_bag& properties);

/// Creates an attachment of method 1 as in received mail.
host::attachment_record file_attachment(std::wstring_view name, const std::string& contents);

/// A message with a sender, a subject, a plain and an HTML body and the additions of a test; opened behind a trace.
class stored_message
{
public:
    /// `name` is the name of the message in the recorded calls. `store` is that of another message, for two messages of
    /// one store.
    explicit stored_message(store_trace& trace, std::string name = "message",
                            std::shared_ptr<host::store_context> store = nullptr);

    void attach(std::uint32_t number, std::wstring_view name, const std::string& contents);
    /// Attaches a message with a subject and a plain body.
    void attach_message(std::uint32_t number, std::wstring_view subject, std::wstring_view text);
    /// Converts an attachment to one that the check skips, a link to an external file.
    void never_scanned(std::uint32_t number);
    void set_text(ULONG tag, std::wstring_view text);
    void set_number(ULONG tag, std::int64_t number);
    void remove(ULONG tag);
    /// Sets the named property that marks the message as encrypted.
    void make_encrypted();

    /// Returns the open object, which is created at the first call; later additions to the message are not visible in
    /// it.
    traced_message& object();
    /// Returns a reference for a callee that releases it.
    [[nodiscard]] ComPtr<IMessage> reference() { return object().reference(); }
    /// Destroys the object.
    void close();

    /// Returns the message as its open object presents it.
    [[nodiscard]] const host::message_record& now();
    [[nodiscard]] std::optional<std::string> value(ULONG tag);
    [[nodiscard]] std::optional<std::string> value(std::uint32_t attachment, ULONG tag);
    /// Returns number and name of each attachment: "0 a.txt".
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

/// Returns a condemned attachment's record in the form in which the check leaves it.
AttachmentResult condemned_record(std::uint32_t number, std::wstring name, std::string notice);

} // namespace test
