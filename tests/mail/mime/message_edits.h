#pragma once

#include "tests/mail/mime/document_fixture.h"

#include <functional>
#include <memory>
#include <random>
#include <utility>

// Changes to a message that was read, as the scan of a message makes them.
namespace host::test {

using change = std::function<void(message_record&)>;

inline void change_html(message_record& message)
{
    set_binary(message, PR_HTML, "<p>new</p>");
}

inline void change_plain(message_record& message)
{
    set_text(message, PR_BODY_W, L"new text");
}

inline void remove_bodies(message_record& message)
{
    message.properties->erase(PROP_ID(PR_BODY_W));
    message.properties->erase(PROP_ID(PR_HTML));
}

inline void change_subject(message_record& message)
{
    set_text(message, PR_SUBJECT_W, L"new");
}

inline void add_file(message_record& message)
{
    const std::uint32_t number = message.attachments.empty() ? 0 : message.attachments.rbegin()->first + 1;
    message.attachments.emplace(number, file_attachment(L"added.bin", "added"));
}

inline void remove_first(message_record& message)
{
    if (!message.attachments.empty()) {
        message.attachments.erase(message.attachments.begin());
    }
}

/// Changes the contents of the first attachment, if it is a file.
inline void change_contents(message_record& message)
{
    if (!message.attachments.empty() && !message.attachments.begin()->second.embedded) {
        message.attachments.begin()->second.properties->set(PR_ATTACH_DATA_BIN,
                                                            property_value::of_binary(bytes_of("other")));
    }
}

/// Changes the message in the last attachment, if there is one.
inline change inside(const change& edit)
{
    return [edit](message_record& message) {
        if (message.attachments.empty() || !message.attachments.rbegin()->second.embedded) {
            return;
        }
        auto& embedded = message.attachments.rbegin()->second.embedded;
        auto inner = std::make_shared<message_record>(embedded->copy());
        edit(*inner);
        embedded = std::move(inner);
    };
}

/// Makes each of these changes, or not.
inline void change_at_random(message_record& message, std::mt19937& random)
{
    for (const auto& edit : {change(change_html), change(change_plain), change(remove_bodies), change(change_subject),
                             change(change_contents), change(remove_first), inside(change_html), inside(remove_first),
                             inside(add_file), inside(inside(change_subject)), change(add_file)}) {
        if (random() % 3 == 0) {
            edit(message);
        }
    }
}

} // namespace host::test
