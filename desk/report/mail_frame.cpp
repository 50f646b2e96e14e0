#include "desk/report/mail_frame.h"

#include "desk/report/page_text.h"
#include "service/page_tags.h"
#include "tool/system/ascii.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace host {

namespace {

constexpr std::uint32_t native_text = 1; ///< value of the native body property

/// Precedes each document. What could still be a link opens a new window, which the sandbox of the frame does not
/// allow.
constexpr std::string_view head =
    "<!DOCTYPE html><meta charset=utf-8>"
    "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'; "
    "base-uri 'none'; form-action 'none'\">"
    "<meta name=referrer content=no-referrer><meta http-equiv=x-dns-prefetch-control content=off>"
    "<base target=_blank>";

constexpr std::string_view text_style =
    "<style>:root{color-scheme:light dark}body{margin:0;padding:12px 14px;font:14px/1.5 ui-monospace,monospace}"
    "pre{margin:0;font:inherit;white-space:pre-wrap;overflow-wrap:anywhere;unicode-bidi:plaintext}"
    ".u{font-size:.75em;border:1px solid;border-radius:3px;padding:0 2px;opacity:.7}</style>";

constexpr std::string_view page_style =
    "<style>body{margin:12px "
    "14px;font-family:system-ui,sans-serif;overflow-wrap:break-word}img{max-width:100%}"
    ":where(a[xref]){color:#0b57d0;text-decoration:underline}</style>";

/// Returns a page as UTF-8. A code page that the system does not have is read as UTF-8.
std::string as_utf8(const std::string& page, std::uint32_t code_page)
{
    if (code_page == 0 || code_page == winapi::code_page_utf8) {
        return page;
    }
    try {
        return winapi::conv_to_char(winapi::conv_to_wide(page, code_page), winapi::code_page_utf8);
    } catch (const std::runtime_error&) {
        return page;
    }
}

/// Returns the type of a data URL for an image; empty for everything else.
std::string image_type(std::string_view mime_tag)
{
    std::string type(mime_tag);
    std::transform(type.begin(), type.end(), type.begin(), winapi::ascii_lower);
    constexpr std::string_view usual = "abcdefghijklmnopqrstuvwxyz0123456789.+-/";
    return type.starts_with("image/") && type.find_first_not_of(usual) == std::string::npos ? type : std::string();
}

bool begins_with(std::string_view text, std::string_view beginning)
{
    return text.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(),
                      [](char wanted, char given) { return wanted == winapi::ascii_lower(given); });
}

/// Copies a page into a document: what connects is replaced, and images of the mail are inserted. The rules ignore the
/// context, so that no other view of where an element begins can be found in the text.
class page_copy
{
public:
    page_copy(const message_snapshot& message, const frame_limits& limits, mail_frame& frame)
        : message_(message)
        , limits_(limits)
        , frame_(frame)
    {}

    void copy(std::string_view page)
    {
        constexpr std::string_view image_scheme = "cid:";
        std::string& out = frame_.document;
        for (std::size_t at = 0; at < page.size();) {
            const std::string_view rest = page.substr(at);
            if (const std::size_t length = connecting_element(rest); length != 0) {
                out += "<basefont"; // has no effect, no contents, and is valid in the same places
                at += length;
            } else if (begins_link(rest)) {
                out.push_back('x'); // the rest of the name follows
                ++at;
            } else if (is_value(page, at) && begins_with(rest, image_scheme)) {
                const std::string_view name =
                    rest.substr(image_scheme.size(),
                                rest.find_first_of("\"'<> \t\r\n)&", image_scheme.size()) - image_scheme.size());
                out += image_url(name);
                at += image_scheme.size() + name.size();
            } else {
                out.push_back(page[at++]);
            }
        }
    }

private:
    /// Returns the length of the beginning of an element that connects without regard to a policy, that changes the
    /// document's own ones, that contains a further document, or that sets an attribute of another element.
    static std::size_t connecting_element(std::string_view text)
    {
        for (const std::string_view name : {"<basefont", "<base", "<link", "<meta", "<iframe", "<frameset", "<frame",
                                            "<object", "<embed", "<applet", "<animate", "<set"}) {
            if (begins_with(text, name)) {
                return name.size();
            }
        }
        return 0;
    }

    /// Returns true if the address of a link begins here. A browser connects as soon as a link is pressed, even if it
    /// may not be followed.
    static bool begins_link(std::string_view text)
    {
        constexpr std::string_view name = "href";
        return begins_with(text, name) &&
               winapi::trimmed_left(text.substr(name.size()), service::page_blanks).starts_with('=');
    }

    static bool is_value(std::string_view page, std::size_t at)
    {
        constexpr std::string_view ahead = "\"'=( ;";
        return at != 0 && ahead.find(page[at - 1]) != std::string_view::npos;
    }

    /// Returns the image as a data URL, or an empty one if it is missing or too large.
    std::string image_url(std::string_view name)
    {
        const auto found = std::find_if(
            message_.attachments.begin(), message_.attachments.end(),
            [name](const attachment_snapshot& entry) { return !name.empty() && entry.content_id == name; });
        const std::string type = found == message_.attachments.end() ? std::string() : image_type(found->mime_tag);
        const std::uint64_t size = type.empty() || !found->data ? 0 : found->data->size();
        if (size == 0 || size > limits_.image || size > limits_.images - used_) {
            ++frame_.missing_images;
            return "data:,";
        }
        used_ += static_cast<std::size_t>(size);
        return "data:" + type + ";base64," + winapi::base64::encode(to_string(*found->data));
    }

    const message_snapshot& message_;
    const frame_limits& limits_;
    mail_frame& frame_;
    std::size_t used_ = 0;
};

} // namespace

mail_frame make_mail_frame(const message_snapshot& message, const frame_limits& limits)
{
    mail_frame frame;
    const bool page = message.html && !(message.body && message.body_type == native_text);
    if (!page && !message.body) {
        return frame;
    }
    const bytes& source = page ? *message.html : *message.body;
    std::string body = first_bytes(source, limits.body);
    frame.size = source.size();
    frame.shown = body.size();
    frame.document = head;
    if (!page) {
        frame.kind = mail_frame::body_kind::text;
        frame.document.append(text_style).append("<pre>").append(page_lines(body)).append("</pre>");
        return frame;
    }
    frame.kind = mail_frame::body_kind::page;
    while (body.ends_with('\0')) { // of a page that replaces a body
        body.pop_back();
    }
    body = as_utf8(body, message.html_page);
    frame.blocked = remote_contents_of(body);
    frame.document.append(page_style);
    page_copy(message, limits, frame).copy(body);
    return frame;
}

} // namespace host
