#pragma once

#include "store/message_record.h"
#include "tool/icap_client/scan_result.h"

#include <cstdint>
#include <memory>
#include <string>

namespace host {

/// What one opening of a message came to.
struct opening
{
    HRESULT result = S_OK; ///< of the check
    ScanResult verdict = ScanResult::None;
    bool blocked = false;         ///< the display was stopped
    std::uint64_t elapsed_ms = 0; ///< from item load to read complete
    /// The message as it stood when it was displayed, changes that nobody saved included. Of an enveloped message the
    /// one behind its wrapper, never the decrypted contents.
    message_record shown;
    std::string closed; ///< why the contents of an enveloped message can't be shown, for people; empty when they can
};

/// Opens messages as a mail client does.
class message_opener
{
public:
    /// Opens and closes one message. A failed check is part of the result, as is whatever it did to the opened item;
    /// only what is saved reaches `stored`, so that a further opening finds the message as it was saved last.
    virtual opening open(const std::shared_ptr<message_record>& stored) = 0;
    virtual ~message_opener() = default;
};

} // namespace host
