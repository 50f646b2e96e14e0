#pragma once

#include "desk/run/answers.h"
#include "store/message_record.h"
#include "tool/icap_client/scan_result.h"

#include <cstdint>
#include <memory>
#include <string>

namespace host {

/// The outcome of one opening of a message.
struct opening
{
    HRESULT result = S_OK; ///< of the check
    ScanResult verdict = ScanResult::None;
    bool blocked = false;         ///< the display was stopped
    std::uint64_t elapsed_ms = 0; ///< from item load to read complete
    /// The message as it was when displayed, including unsaved changes. For an enveloped message this is the base
    /// message behind its wrapper, never the decrypted contents.
    message_record shown;
    opening_answers answers;
    bool encrypted = false; ///< an enveloped message
    std::string closed; ///< why the contents of an enveloped message cannot be shown, for display; empty if they can
};

/// Opens messages as a mail client does.
class message_opener
{
public:
    /// Opens and closes one message. A failed check is part of the result, as are its changes to the opened item. Only
    /// saved changes reach `stored`, so that a further opening finds the message as it was last saved.
    virtual opening open(const std::shared_ptr<message_record>& stored) = 0;
    virtual ~message_opener() = default;
};

} // namespace host
