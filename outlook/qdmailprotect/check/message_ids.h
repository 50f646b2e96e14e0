#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <string>

/// The identifiers of a message.
struct MessageIds
{
    std::string messageId;  ///< entry identifier in hexadecimal, empty while the message is unsaved
    std::string internetId; ///< may be empty

    /// Returns the identifier that a scan request carries as its tag.
    [[nodiscard]] const std::string& Tag() const noexcept { return internetId.empty() ? messageId : internetId; }
};

/// Reads both identifiers and logs each of them after its label.
MessageIds ReadMessageIds(IMessage* message, const char* messageLabel, const char* internetLabel);
