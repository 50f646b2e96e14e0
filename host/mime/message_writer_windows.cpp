// The writer for a system without the MIME library: the same documents by plainer means. Every text that isn't short
// ASCII is encoded; what is in the document is the same.
#include "host/mime/content_source.h"
#include "host/mime/message_properties.h"
#include "host/mime/message_writer.h"
#include "host/mime/plain_headers_windows.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <array>
#include <stdexcept>
#include <utility>
#include <vector>
#include <wincrypt.h>

namespace host {

namespace {

constexpr int deepest_message = 32; ///< so many messages inside one another are written

std::string charset_of(std::uint32_t code_page)
{
    constexpr std::uint32_t ascii = 20127;
    constexpr std::uint32_t latin_1 = 28591;
    switch (code_page) {
    case 0:
    case ascii:
        return {};
    case winapi::code_page_utf8:
        return "utf-8";
    case latin_1:
        return "iso-8859-1";
    default:
        return "windows-" + std::to_string(code_page);
    }
}

/// The whole of a type that a part may have, without parameters.
std::string type_of_file(const std::wstring& mime_tag)
{
    const std::string type = winapi::conv_to_char(mime_tag, winapi::code_page_utf8);
    const std::size_t slash = type.find('/');
    const bool known = slash != std::string::npos && slash != 0 &&
                       type.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.+-_/") ==
                           std::string::npos &&
                       type.find('/', slash + 1) == std::string::npos;
    const bool several = type.starts_with("multipart") || type.starts_with("message");
    return known && !several ? type : "application/octet-stream";
}

/// Writes one document, its messages inside and all.
class plain_writer
{
public:
    plain_writer(bool include_bcc, const document_sink& sink)
        : include_bcc_(include_bcc)
        , sink_(sink)
    {}

    void write(IMessage& message, int depth)
    {
        if (depth >= deepest_message) {
            throw std::runtime_error("the messages inside one another are too many");
        }
        const std::string boundary = new_boundary();
        sink_(mail_headers(message, include_bcc_));
        sink_("Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n");
        write_bodies(message, boundary);
        for (const std::uint32_t number : attachment_numbers(message)) {
            ComPtr<IAttach> attachment;
            const HRESULT opened = message.OpenAttach(number, nullptr, 0, Receive(attachment));
            if (FAILED(opened) || !attachment) {
                throw ComError(FAILED(opened) ? opened : E_FAIL);
            }
            begin_part(boundary);
            write_attachment(*attachment, depth);
        }
        end_parts(boundary);
    }

private:
    /// Contents are encoded, and neither encoding lets "=_" through.
    std::string new_boundary() { return "=_part_" + std::to_string(++boundaries_) + "_"; }
    void begin_part(const std::string& boundary) { sink_("--" + boundary + "\r\n"); }
    void end_parts(const std::string& boundary) { sink_("--" + boundary + "--\r\n"); }

    /// Text and HTML as choices; an empty text when there is neither.
    void write_bodies(IMessage& message, const std::string& boundary)
    {
        const std::string choices = new_boundary();
        begin_part(boundary);
        sink_("Content-Type: multipart/alternative; boundary=\"" + choices + "\"\r\n\r\n");
        ComPtr<IStream> plain = property_stream(message, PR_BODY_W);
        ComPtr<IStream> html = property_stream(message, PR_HTML);
        if (plain || !html) {
            write_body(choices, "plain", "utf-8",
                       plain ? utf8_content(stream_content(std::move(plain))) : text_content({}));
        }
        if (html) {
            const std::uint32_t page = number_property(message, PR_INTERNET_CPID).value_or(0);
            write_body(choices, "html", charset_of(page), stream_content(std::move(html)));
        }
        end_parts(choices);
    }

    void write_body(const std::string& boundary, const std::string& subtype, const std::string& charset,
                    content_ptr content)
    {
        begin_part(boundary);
        sink_("Content-Type: text/" + subtype + (charset.empty() ? std::string() : "; charset=" + charset) +
              "\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n");
        const content_ptr quoted = quoted_content(std::move(content));
        std::array<char, 16384> block{};
        while (const std::size_t got = quoted->read(block.data(), block.size())) {
            sink_({block.data(), got});
        }
        sink_("\r\n");
    }

    static std::vector<std::uint32_t> attachment_numbers(IMessage& message)
    {
        ComPtr<IMAPITable> table;
        const HRESULT result = message.GetAttachmentTable(0, Receive(table));
        if (FAILED(result) || !table) {
            throw ComError(FAILED(result) ? result : E_FAIL);
        }
        std::vector<std::uint32_t> numbers;
        each_row(*table, {PR_ATTACH_NUM}, [&numbers](const SRow& row) {
            if (const auto number = number_in(row, PR_ATTACH_NUM)) {
                numbers.push_back(*number);
            }
        });
        return numbers;
    }

    static std::wstring name_of(IAttach& attachment)
    {
        for (const std::uint32_t tag : {std::uint32_t{PR_ATTACH_LONG_FILENAME_W}, std::uint32_t{PR_ATTACH_FILENAME_W},
                                        std::uint32_t{PR_DISPLAY_NAME_W}}) {
            std::wstring name = text_property(attachment, tag);
            if (!name.empty()) {
                return name;
            }
        }
        return {};
    }

    void write_attachment(IAttach& attachment, int depth)
    {
        const bool hidden = flag_property(attachment, PR_ATTACHMENT_HIDDEN);
        const std::wstring name = name_of(attachment);
        const std::wstring content_id = text_property(attachment, PR_ATTACH_CONTENT_ID_W);
        std::string lines = hidden ? "Content-Disposition: inline" : "Content-Disposition: attachment";
        lines += (name.empty() ? std::string() : header_parameter("filename", name)) + "\r\n";
        if (!content_id.empty() && content_id.find_first_of(L" <>\r\n") == std::wstring::npos) {
            lines += "Content-ID: <" + winapi::conv_to_char(content_id, winapi::code_page_utf8) + ">\r\n";
        }
        sink_(lines);
        if (number_property(attachment, PR_ATTACH_METHOD).value_or(NO_ATTACHMENT) == ATTACH_EMBEDDED_MSG) {
            if (const ComPtr<IMessage> inner = message_in(attachment)) {
                sink_("Content-Type: message/rfc822\r\n\r\n");
                write(*inner, depth + 1);
                sink_("\r\n");
                return;
            }
        }
        write_file(attachment);
    }

    /// Null when the attachment holds no message, whatever it says.
    static ComPtr<IMessage> message_in(IAttach& attachment)
    {
        ComPtr<IUnknown> opened;
        const HRESULT result = attachment.OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, Receive(opened));
        if (result == MAPI_E_NOT_FOUND) {
            return nullptr;
        }
        ComPtr<IMessage> inner;
        const HRESULT queried = FAILED(result) ? result : Query(opened.get(), IID_IMessage, inner);
        if (FAILED(queried)) {
            throw ComError(queried);
        }
        return inner;
    }

    void write_file(IAttach& attachment)
    {
        sink_("Content-Type: " + type_of_file(text_property(attachment, PR_ATTACH_MIME_TAG_W)) +
              "\r\nContent-Transfer-Encoding: base64\r\n\r\n");
        if (ComPtr<IStream> stream = property_stream(attachment, PR_ATTACH_DATA_BIN)) {
            write_base64(*stream_content(std::move(stream)));
        }
        sink_("\r\n");
    }

    void write_base64(content_source& content)
    {
        std::array<BYTE, 48UL * 256> block{}; // a multiple of what a line takes
        std::array<char, block.size() * 2> text{};
        for (;;) {
            std::size_t filled = 0;
            while (filled < block.size()) {
                const std::size_t got =
                    content.read(reinterpret_cast<char*>(block.data()) + filled, block.size() - filled);
                if (got == 0) {
                    break;
                }
                filled += got;
            }
            if (filled == 0) {
                return;
            }
            auto size = static_cast<DWORD>(text.size());
            if (CryptBinaryToStringA(block.data(), static_cast<DWORD>(filled), CRYPT_STRING_BASE64, text.data(),
                                     &size) == 0) {
                throw std::runtime_error("an attachment could not be encoded");
            }
            sink_({text.data(), size});
        }
    }

    bool include_bcc_;
    const document_sink& sink_;
    std::uint32_t boundaries_ = 0;
};

} // namespace

void write_mime(IMessage& message, bool include_bcc, const document_sink& sink)
{
    plain_writer(include_bcc, sink).write(message, 0);
}

} // namespace host
