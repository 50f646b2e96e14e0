#pragma once

#include "desk/run/snapshot.h"
#include "mail/mime/saving/message_saver.h"
#include "mail/mime/writing/message_writer.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/store/store_fixture.h"

#include <nlohmann/json.hpp>

#include <string>

namespace host::test {

/// Returns the document of a message.
inline std::string document(const message_record& message, bool include_bcc = true)
{
    std::string text;
    write_mime(message, include_bcc, [&text](std::string_view piece) { text.append(piece); });
    return text;
}

/// Returns the document as saved by this program.
inline std::string saved_document(const message_record& message)
{
    std::string text;
    save_message(message, [&text](std::string_view piece) { text.append(piece); });
    return text;
}

/// Returns the same message as if it had not been read from a document.
inline message_record without_origin(const message_record& message)
{
    message_record result = message.copy();
    result.properties->origin(nullptr);
    for (auto& [number, attachment] : result.attachments) {
        attachment.properties->origin(nullptr);
        if (attachment.embedded) {
            attachment.embedded = std::make_shared<const message_record>(without_origin(*attachment.embedded));
        }
    }
    return result;
}

inline message_record read_saved(const std::string& text, written_by author = written_by::this_program)
{
    return read_message(bytes_of(text), "saved", std::make_shared<store_context>(), author);
}

inline std::string snapshot_text(const message_record& message)
{
    digest_cache digests;
    return to_json(take_snapshot(message), digests).dump(1);
}

/// Saves a message, and expects that it reads as the same message, which is saved as the same text. Returns the text.
inline std::string expect_same_when_saved(const message_record& message, const std::string& what)
{
    const std::string text = saved_document(message);
    const message_record again = read_saved(text);
    EXPECT_EQ(snapshot_text(again), snapshot_text(message)) << what;
    EXPECT_EQ(saved_document(again), text) << what << ": saved once more";
    return text;
}

/// Returns the text before the first empty line.
inline std::string head_of(const std::string& text)
{
    return text.substr(0, text.find("\r\n\r\n") + 2);
}

inline std::size_t count_of(const std::string& text, std::string_view piece)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
        ++count;
    }
    return count;
}

inline void set_text(message_record& message, std::uint32_t tag, std::wstring_view text)
{
    message.properties->set(tag, property_value::of_text(text));
}

inline void set_binary(message_record& message, std::uint32_t tag, std::string text)
{
    message.properties->set(tag, property_value::of_binary(bytes_of(std::move(text))));
}

inline void add_recipient(message_record& message, std::int32_t kind, std::wstring_view name, std::wstring_view address)
{
    auto recipient = std::make_shared<property_bag>();
    recipient->set(PR_RECIPIENT_TYPE, property_value::of_long(kind));
    recipient->set(PR_DISPLAY_NAME_W, property_value::of_text(name));
    recipient->set(PR_EMAIL_ADDRESS_W, property_value::of_text(address));
    message.recipients.push_back(std::move(recipient));
}

/// Returns a plain note from Ada to Ben that was not read from any mail.
inline message_record note(std::wstring_view subject = L"Minutes", std::wstring_view body = L"Text.\r\n")
{
    message_record message;
    set_text(message, PR_MESSAGE_CLASS_W, L"IPM.Note");
    set_text(message, PR_SUBJECT_W, subject);
    set_text(message, PR_SENDER_NAME_W, L"Ada");
    set_text(message, PR_SENDER_EMAIL_ADDRESS_W, L"ada@example.org");
    set_text(message, PR_BODY_W, body);
    add_recipient(message, MAPI_TO, L"Ben", L"ben@example.org");
    return message;
}

} // namespace host::test
