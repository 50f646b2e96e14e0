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

// The types of bodies, as messages tell them.
inline constexpr std::uint32_t UndefinedBody = 0;
inline constexpr std::uint32_t PlainBody = 1;
inline constexpr std::uint32_t RtfBody = 2;
inline constexpr std::uint32_t HtmlBody = 3;

/// What the check of one body leaves for disinfection. Lives for one check.
struct MailBodyInfo
{
    std::uint32_t bodyType = UndefinedBody;               ///< may be a number that has no name here
    std::string subject;                                  ///< in the thread's ANSI code page
    std::string plainBody;                                ///< the plain text body as read
    std::shared_ptr<icap::response_message> scanResponse; ///< the scanner's answer; may be null
    ScanResult scanResult = ScanResult::None;             ///< Blocked: the body is to be replaced
};

/// What the check of one attachment leaves for disinfection; also describes an image that is to be attached.
struct AttachmentResult
{
    bool deleted = false; ///< set by disinfection once the attachment is gone
    std::uint32_t attachNumber = 0;
    std::uint32_t attachMethod = 0;
    std::wstring fileName; ///< display file name, may be empty
    std::string mimeTag;
    std::string noticeHtml;                   ///< the scanner's HTML for the place of the attachment, may be empty
    ScanResult scanResult = ScanResult::None; ///< Blocked: the attachment is to be removed
    std::wstring contentId;                   ///< images only
    std::vector<std::byte> data;              ///< images only
};
