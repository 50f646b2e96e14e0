#include "mail/mime/saving/new_parts.h"

#include "mail/mime/text/charset_names.h"
#include "mail/mime/text/gmime_ptr.h"
#include "mail/mime/text/header_text.h"
#include "mail/mime/text/mime_library.h"
#include "mail/mime/writing/document_parts.h"
#include "mail/mime/writing/message_attachments.h"
#include "mail/mime/writing/message_writer.h"
#include "tool/system/conversions.h"

#include <utility>

namespace host {

namespace {

std::string text_property_of(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? winapi::conv_to_char(value->wide(), winapi::code_page_utf8) : std::string();
}

std::int64_t number_property_of(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? value->number() : 0;
}

bytes_ptr contents_of(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    const auto* data = value ? std::get_if<bytes_ptr>(&value->data) : nullptr;
    return data && *data ? *data : bytes_of({});
}

draft_ptr message_part(std::string headers, const message_record& inner, const std::string& line_end,
                       document_order& inside)
{
    auto part = std::make_unique<draft_part>();
    part->headers = std::move(headers);
    scratch text;
    inside = write_mime(inner, true, [&](std::string_view piece) {
        std::string lines(piece);
        if (line_end == "\n") {
            std::erase(lines, '\r'); // the writer has no other CR
        }
        text.append(lines);
    });
    part->content = text.freeze();
    return part;
}

} // namespace

std::string with_line_end(std::string_view text, const std::string& line_end)
{
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += line_end;
        } else {
            result += c;
        }
    }
    return result;
}

std::string name_of(const attachment_record& attachment)
{
    for (const std::uint32_t tag : {std::uint32_t{PR_ATTACH_LONG_FILENAME_W}, std::uint32_t{PR_ATTACH_FILENAME_W},
                                    std::uint32_t{PR_DISPLAY_NAME_W}}) {
        std::string name = text_property_of(*attachment.properties, tag);
        if (!name.empty() && (tag != PR_DISPLAY_NAME_W || !attachment.embedded)) {
            return without_controls(std::move(name));
        }
    }
    return {};
}

draft_ptr plain_part(const message_record& message, const std::string& line_end)
{
    const property_value* body = message.properties->find(PROP_ID(PR_BODY_W));
    const bytes_ptr text = body ? body->narrow(winapi::code_page_utf8) : bytes_of({});
    return make_leaf("Content-Type: text/plain; charset=utf-8" + line_end, *text, true, line_end);
}

draft_ptr html_part(const message_record& message, const std::string& line_end)
{
    const auto page = static_cast<std::uint32_t>(number_property_of(*message.properties, PR_INTERNET_CPID));
    const std::string charset = charset_of_page(page);
    return make_leaf("Content-Type: text/html" + (charset.empty() ? std::string() : "; charset=" + charset) + line_end,
                     *contents_of(*message.properties, PR_HTML), true, line_end);
}

draft_ptr attachment_part(const message_record& message, std::uint32_t number, const std::string& line_end,
                          document_order& inside)
{
    prepare_mime_library();
    const attachment_record& attachment = message.attachments.at(number);
    const property_bag& properties = *attachment.properties;
    const std::string type =
        attachment.embedded ? "message/rfc822" : type_of_file(text_property_of(properties, PR_ATTACH_MIME_TAG_W));
    const gobject_ptr<GMimeObject> described(GMIME_OBJECT(g_mime_part_new()));
    const content_type_ptr parsed(g_mime_content_type_parse(nullptr, type.c_str()));
    g_mime_object_set_content_type(described.get(), parsed.get());
    const bool hidden = number_property_of(properties, PR_ATTACHMENT_HIDDEN) != 0;
    g_mime_object_set_disposition(described.get(), hidden && !attachment.embedded ? "inline" : "attachment");
    if (const std::string name = name_of(attachment); !name.empty()) {
        set_part_name(*described, name, attachment.embedded ? naming::in_disposition : naming::in_both);
    }
    if (const std::string id = text_property_of(properties, PR_ATTACH_CONTENT_ID_W); is_plain_word(id)) {
        g_mime_object_set_content_id(described.get(), id.c_str());
    }
    const glib_text lines(g_mime_object_get_headers(described.get(), nullptr));
    std::string headers = with_line_end(text_of(lines.get()), line_end);
    draft_ptr part = attachment.embedded
                         ? message_part(std::move(headers), *attachment.embedded, line_end, inside)
                         : make_leaf(std::move(headers), *contents_of(properties, PR_ATTACH_DATA_BIN), false, line_end);
    part->attachment = number;
    return part;
}

} // namespace host
