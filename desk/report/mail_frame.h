#pragma once

#include "desk/report/remote_contents.h"
#include "desk/run/snapshot.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

/// The body of a mail as a document for a sandboxed frame. The document requests nothing: a policy blocks all remote
/// contents, elements that would connect to another computer regardless of a policy or contain a further document are
/// replaced, links lead nowhere, and images of the mail are part of it.
struct mail_frame
{
    enum class body_kind
    {
        none,
        text,
        page
    };
    body_kind kind = body_kind::none;
    std::string document;           ///< UTF-8; empty if there is no body
    std::uint64_t size = 0;         ///< of the whole body, in bytes
    std::uint64_t shown = 0;        ///< bytes of the body that the document contains
    remote_contents blocked;        ///< of the part that is shown
    std::size_t missing_images = 0; ///< images of the mail that are absent or too large
};

/// Limits of one document, in bytes.
struct frame_limits
{
    std::size_t body = 131072;   ///< of the body that is shown
    std::size_t image = 98304;   ///< of one image
    std::size_t images = 262144; ///< of all images together
};

/// Makes the document of the body that a reader sees: the page, or the text if there is no page or the text is the
/// original.
[[nodiscard]] mail_frame make_mail_frame(const message_snapshot& message, const frame_limits& limits = {});

} // namespace host
