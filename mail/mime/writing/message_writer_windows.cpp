// The writer for a system without the MIME library. It writes bodies, attachments and the headers that are derived from
// properties, in simpler documents: all text other than short ASCII is encoded, and a calendar or an envelope is an
// ordinary attachment.
#include "mail/mime/text/charset_names.h"
#include "mail/mime/text/content_source.h"
#include "mail/mime/writing/boundaries.h"
#include "mail/mime/writing/message_attachments.h"
#include "mail/mime/writing/message_properties.h"
#include "mail/mime/writing/message_writer.h"
#include "mail/mime/writing/plain_headers_windows.h"
#include "store/tags.h"
#include "tool/system/base64.h"

#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

namespace host {

namespace {

/// Writes one document including its embedded messages.
class plain_writer
{
public:
    plain_writer(bool include_bcc, const document_sink& sink)
        : include_bcc_(include_bcc)
        , sink_(sink)
    {}

    void write(IMessage& message, int depth)
    {
        if (depth >= deepest_embedded) {
            throw std::runtime_error("the messages inside one another are too many");
        }
        const std::string boundary = boundaries_.next();
        sink_(mail_headers(message, include_bcc_));
        sink_("Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n");
        write_bodies(message, boundary);
        for (const std::uint32_t number : attachment_numbers(message)) {
            const ComPtr<IAttach> attachment = open_attachment(message, number);
            begin_part(boundary);
            write_attachment(*attachment, depth);
        }
        end_parts(boundary);
    }

private:
    void begin_part(const std::string& boundary) { sink_("--" + boundary + "\r\n"); }
    void end_parts(const std::string& boundary) { sink_("--" + boundary + "--\r\n"); }

    /// Writes text and HTML as alternatives, or an empty text if there is neither.
    void write_bodies(IMessage& message, const std::string& boundary)
    {
        const std::string choices = boundaries_.next();
        begin_part(boundary);
        sink_("Content-Type: multipart/alternative; boundary=\"" + choices + "\"\r\n\r\n");
        ComPtr<IStream> plain = property_stream(message, PR_BODY_W);
        ComPtr<IStream> html = property_stream(message, PR_HTML);
        ComPtr<IStream> html_text = html ? nullptr : property_stream(message, tag::body_html);
        if (plain || (!html && !html_text)) {
            write_body(choices, "plain", "utf-8",
                       plain ? utf8_content(stream_content(std::move(plain))) : text_content({}));
        }
        if (html) {
            const std::uint32_t page = number_property(message, PR_INTERNET_CPID).value_or(0);
            write_body(choices, "html", charset_of_page(page), stream_content(std::move(html)));
        } else if (html_text) {
            write_body(choices, "html", "utf-8", utf8_content(stream_content(std::move(html_text))));
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

    void write_attachment(IAttach& attachment, int depth)
    {
        const bool hidden = flag_property(attachment, PR_ATTACHMENT_HIDDEN);
        const std::string name = attachment_name(attachment);
        const std::wstring content_id = text_property(attachment, PR_ATTACH_CONTENT_ID_W);
        std::string lines = hidden ? "Content-Disposition: inline" : "Content-Disposition: attachment";
        lines += (name.empty() ? std::string() : header_parameter("filename", name)) + "\r\n";
        if (is_identifier(content_id)) {
            lines += "Content-ID: <" + utf8(content_id) + ">\r\n";
        }
        sink_(lines);
        if (number_property(attachment, PR_ATTACH_METHOD).value_or(NO_ATTACHMENT) == ATTACH_EMBEDDED_MSG) {
            if (const ComPtr<IMessage> inner = message_inside(attachment)) {
                sink_("Content-Type: message/rfc822\r\n\r\n");
                write(*inner, depth + 1);
                sink_("\r\n");
                return;
            }
        }
        write_file(attachment);
    }

    void write_file(IAttach& attachment)
    {
        const std::wstring told = text_property(attachment, PR_ATTACH_MIME_TAG_W);
        sink_("Content-Type: " + type_of_file(utf8(told)) + "\r\nContent-Transfer-Encoding: base64\r\n\r\n");
        if (ComPtr<IStream> stream = property_stream(attachment, PR_ATTACH_DATA_BIN)) {
            write_base64(*stream_content(std::move(stream)));
        }
        sink_("\r\n");
    }

    void write_base64(content_source& content)
    {
        constexpr std::size_t bytes_of_line = 48;
        std::array<char, bytes_of_line * 256> block{};
        std::size_t filled = 0;
        do {
            filled = 0;
            for (std::size_t got = 1; got != 0 && filled < block.size(); filled += got) {
                got = content.read(block.data() + filled, block.size() - filled);
            }
            std::string lines;
            for (std::string_view rest(block.data(), filled); !rest.empty();) {
                const std::string_view line = rest.substr(0, bytes_of_line);
                lines += winapi::base64::encode(line) + "\r\n";
                rest.remove_prefix(line.size());
            }
            if (!lines.empty()) {
                sink_(lines);
            }
        } while (filled == block.size());
    }

    bool include_bcc_;
    const document_sink& sink_;
    boundaries boundaries_;
};

} // namespace

void write_mime(IMessage& message, bool include_bcc, const document_sink& sink)
{
    plain_writer(include_bcc, sink).write(message, 0);
}

} // namespace host
