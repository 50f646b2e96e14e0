#pragma once

#include "outlook/qdmailprotect/results/check_results.h"
#include "store/attach_object.h"
#include "store/message_object.h"
#include "tests/outlook/qdmailprotect/support/scripted_message.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Messages of the in-memory store behind a scripted one, and functions that read them without recording it.
namespace test {

/// Returns one value as text: numbers in decimal, text in UTF-8, bytes unchanged. Returns nothing if the property does
/// not exist.
std::optional<std::string> value_of(const host::property_bag& properties, ULONG tag);

/// Returns all properties by tag.
std::map<ULONG, std::string> values_of(const host::property_bag& properties);

/// Creates an attachment of method 1 as in received mail.
host::attachment_record file_attachment(std::wstring_view name, const std::string& contents);

/// A message with given contents and the additions of a test; opened behind a scripted store.
class stored_message
{
public:
    /// A message with a class, a sender, a subject, a plain and an HTML body. `name` is the name of the message in the
    /// texts of its operations.
    explicit stored_message(scripted_store& store, std::string name = "message");
    stored_message(scripted_store& store, std::string name, host::message_record contents);

    void attach(std::uint32_t number, std::wstring_view name, const std::string& contents);
    void attach(std::uint32_t number, host::attachment_record attachment);
    /// Attaches a message with a subject and a plain body.
    void attach_message(std::uint32_t number, std::wstring_view subject, std::wstring_view text);
    /// Converts an attachment to one that the check skips, a link to an external file.
    void never_scanned(std::uint32_t number);
    void set(ULONG tag, const host::property_value& value);
    void set_text(ULONG tag, std::wstring_view text) { set(tag, host::property_value::of_text(text)); }
    void set_number(ULONG tag, std::int64_t number) { set(tag, host::property_value::of_long(number)); }
    /// Sets narrow text or bytes, depending on the tag.
    void set_bytes(ULONG tag, std::string bytes);
    void remove(ULONG tag);
    /// Sets the named property that marks the message as encrypted.
    void make_encrypted();

    /// Returns the open object, which is created at the first call. Attachments that are added later are not visible in
    /// it.
    scripted_message& object();
    [[nodiscard]] IMessage* pointer() { return object().pointer(); }
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

    int saves = 0; ///< of the message itself

private:
    scripted_store& store_;
    std::string name_;
    host::message_record record_;
    ComPtr<host::message_object> inner_;
    ComPtr<scripted_message> object_;
};

/// Creates a message without any contents.
std::unique_ptr<stored_message> empty_message(scripted_store& store, std::string name = "message");

/// Returns the open object as IUnknown.
inline ComPtr<IUnknown> identity(stored_message& message)
{
    return ComPtr<IUnknown>(message.pointer());
}

/// Returns the tag of the verdict property if its name has been resolved in the store, otherwise 0.
ULONG verdict_tag(const scripted_store& store);

/// Returns a condemned attachment's record in the form in which the check leaves it.
AttachmentResult condemned_record(std::uint32_t number, std::wstring name, std::string notice);

} // namespace test
