#pragma once

#include "tool/icap_client/scan_result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace icap {
class response_message;
} // namespace icap

// The body types as messages specify them.
inline constexpr std::uint32_t UndefinedBody = 0;
inline constexpr std::uint32_t PlainBody = 1;
inline constexpr std::uint32_t RtfBody = 2;
inline constexpr std::uint32_t HtmlBody = 3;

/// The result of a body check as input for disinfection. Lives for one check.
struct MailBodyInfo
{
    std::uint32_t bodyType = UndefinedBody;               ///< may be a number without a name here
    std::string subject;                                  ///< in the thread's ANSI code page
    std::string plainBody;                                ///< the plain text body as read
    std::shared_ptr<icap::response_message> scanResponse; ///< the scanner's answer; may be null
    ScanResult scanResult = ScanResult::None;             ///< Blocked: the body must be replaced
    bool exchangeFailed = false;                          ///< the body was to be scanned, and there is no verdict
    /// Set by disinfection after the replacement. Mutable because the rest of the record is its input.
    bool replaced = false;
};

/// The result of an attachment check as input for disinfection. Also describes an image to be attached.
struct AttachmentResult
{
    bool deleted = false; ///< set by disinfection after the deletion
    std::uint32_t attachNumber = 0;
    std::uint32_t attachMethod = 0;
    std::wstring fileName; ///< display file name, may be empty
    std::string mimeTag;
    std::string noticeHtml;                   ///< the scanner's HTML that replaces the attachment, may be empty
    ScanResult scanResult = ScanResult::None; ///< Blocked: the attachment must be removed
    std::wstring contentId;                   ///< images only
    std::vector<std::byte> data;              ///< images only
    bool exchangeFailed = false;              ///< the attachment was to be scanned, and there is no complete verdict
    std::shared_ptr<icap::response_message> repair; ///< hardened scanning only: contains the repaired contents
    bool repairRefused = false;                     ///< condemned because the store does not take the repaired contents
};
