#include "mail/mime/reading/message_parser.h"

#include "mail/mime/reading/attachment_names.h"
#include "mail/mime/reading/calendar.h"
#include "mail/mime/reading/encoded_words.h"
#include "mail/mime/reading/header_properties.h"
#include "mail/mime/reading/part_content.h"
#include "mail/mime/text/charset_names.h"
#include "mail/mime/text/charset_text.h"
#include "mail/mime/text/gmime_streams.h"
#include "mail/mime/text/mime_library.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

namespace {

constexpr int deepest_multipart = 64;
constexpr std::int64_t native_plain = 1;
constexpr std::int64_t native_html = 3;

std::string mime_type_of(GMimeObject* part)
{
    const glib_text type(g_mime_content_type_get_mime_type(g_mime_object_get_content_type(part)));
    const glib_text lower(g_ascii_strdown(type.get(), -1));
    return text_of(lower.get());
}

bool is_type(GMimeObject* part, const char* type, const char* subtype)
{
    return g_mime_content_type_is_type(g_mime_object_get_content_type(part), type, subtype) != FALSE;
}

bool is_declared_attachment(GMimeObject* part)
{
    const char* disposition = g_mime_object_get_disposition(part);
    return disposition && winapi::compare_no_case(disposition, "attachment") == 0;
}

/// Returns true for an S/MIME message, recognized by its type or, if the type is unspecific, by the name of its only
/// file.
bool is_secured(GMimeObject* part)
{
    if (is_type(part, "application", "pkcs7-mime") || is_type(part, "application", "x-pkcs7-mime")) {
        return true;
    }
    const char* name = GMIME_IS_PART(part) ? g_mime_part_get_filename(GMIME_PART(part)) : nullptr;
    return is_type(part, "application", "octet-stream") && name &&
           winapi::compare_no_case(std::filesystem::path(name).extension().string(), ".p7m") == 0;
}

property_value text_value(const char* utf8)
{
    return property_value::of_text(to_wide(utf8));
}

/// Returns the source of a part, including its headers, with the line ends of mail.
bytes_ptr source_of(GMimeObject* part)
{
    scratch source;
    const auto failure = std::make_shared<stream_failure>();
    const auto stream = make_sink_stream([&source](std::string_view piece) { source.append(piece); }, failure);
    const format_options_ptr format = mail_format_options();
    g_mime_object_write_to_stream(part, format.get(), stream.get());
    failure->raise();
    return source.freeze();
}

/// Returns true for a multipart that contains text but no parts.
bool is_closed(GMimeMultipart* multipart)
{
    const char* prologue = g_mime_multipart_get_prologue(multipart);
    return prologue && g_mime_multipart_get_count(multipart) == 0 &&
           std::string_view(prologue).find_first_not_of(" \t\r\n") != std::string_view::npos;
}

/// Returns the targets of the "cid:" addresses in an HTML text, each up to the character that ends the address.
std::set<std::string_view> content_ids_in(std::string_view html)
{
    constexpr std::string_view scheme = "cid:";
    std::set<std::string_view> found;
    for (std::size_t at = html.find(scheme); at != std::string_view::npos; at = html.find(scheme, at)) {
        const char before = at == 0 ? ' ' : html[at - 1];
        const std::string_view ends = before == '"'    ? "\""
                                      : before == '\'' ? "'"
                                      : before == '('  ? ")"
                                                       : " \t\r\n>\"')&";
        const std::size_t start = at + scheme.size();
        at = std::min(html.find_first_of(ends, start), html.size());
        found.insert(html.substr(start, at - start));
    }
    return found;
}

} // namespace

message_parser::message_parser(std::shared_ptr<store_context> store, int depth)
    : depth_(depth)
{
    record_.store = std::move(store);
}

message_record message_parser::parse(GMimeMessage* message, bytes_ptr source)
{
    set_header_properties(message, record_);
    if (GMimeObject* top = g_mime_message_get_mime_part(message)) {
        add(top, false);
    }
    set_body_kind();
    hide_inline_images();
    set_class(message);
    origin_->source = std::move(source);
    origin_->read = state_of(record_);
    origin_->opened = origin_->read;
    record_.properties->origin(std::move(origin_));
    return std::move(record_);
}

void message_parser::add(GMimeObject* part, bool alternative)
{
    if (GMIME_IS_MULTIPART(part)) {
        add_multipart(GMIME_MULTIPART(part), alternative);
    } else if (GMIME_IS_MESSAGE_PART(part)) {
        add_message(GMIME_MESSAGE_PART(part));
    } else if (GMIME_IS_PART(part)) {
        add_leaf(GMIME_PART(part), alternative);
    }
}

void message_parser::add_multipart(GMimeMultipart* multipart, bool alternative)
{
    if (nesting_ >= deepest_multipart || is_closed(multipart)) {
        add_whole(GMIME_OBJECT(multipart), source_of(GMIME_OBJECT(multipart)));
        return;
    }
    ++nesting_;
    const bool opens_choice = !alternative && is_type(GMIME_OBJECT(multipart), "multipart", "alternative");
    const int count = g_mime_multipart_get_count(multipart);
    for (int i = 0; i < count; ++i) {
        path_.push_back(static_cast<std::uint32_t>(i));
        add(g_mime_multipart_get_part(multipart, i), alternative || opens_choice);
        path_.pop_back();
    }
    --nesting_;
    body_closed_ = body_closed_ || (opens_choice && (has_plain_ || has_html_));
}

void message_parser::add_leaf(GMimePart* part, bool alternative)
{
    auto* object = GMIME_OBJECT(part);
    if (is_type(object, "text", "calendar") && !is_declared_attachment(object)) {
        take_calendar(part);
    }
    if (!take_body(part, alternative)) {
        add_file(part);
    }
}

bool message_parser::take_body(GMimePart* part, bool alternative)
{
    auto* object = GMIME_OBJECT(part);
    if (body_closed_ || is_declared_attachment(object) || g_mime_part_get_filename(part)) {
        return false;
    }
    if (is_type(object, "text", "html") && !has_html_) {
        set_html_body(part);
    } else if (is_type(object, "text", "plain") && !has_plain_) {
        set_plain_body(part);
    } else {
        return false;
    }
    body_closed_ = body_closed_ || !alternative;
    return true;
}

void message_parser::set_plain_body(GMimePart* part)
{
    has_plain_ = true;
    origin_->plain = origin_here(GMIME_OBJECT(part));
    if (body_charset_.empty()) {
        body_charset_ = charset_of(part);
    }
    record_.properties->set(PR_BODY_W, part_text_value(part));
}

void message_parser::set_html_body(GMimePart* part)
{
    has_html_ = true;
    origin_->html = origin_here(GMIME_OBJECT(part));
    body_charset_ = charset_of(part);
    const bytes_ptr data = part_content(part);
    html_ = to_string(*data);
    record_.properties->set(PR_HTML, property_value::of_binary(data));
}

void message_parser::set_body_kind()
{
    if (!has_html_ && !has_plain_) {
        return;
    }
    constexpr std::int64_t western = 1252;
    const std::uint32_t told = code_page_of(body_charset_);
    const std::int64_t page = told != 0 ? told : body_charset_.empty() ? 20127 : western;
    record_.properties->set(PR_NATIVE_BODY_INFO, property_value::of_long(has_html_ ? native_html : native_plain));
    record_.properties->set(PR_INTERNET_CPID, property_value::of_long(page));
    record_.properties->set(tag::message_code_page, property_value::of_long(page));
}

void message_parser::take_calendar(GMimePart* part)
{
    if (calendar_class_.empty()) {
        const char* method = g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "method");
        calendar_class_ = calendar_class(part_text(part), method ? method : "");
    }
}

void message_parser::set_attachment_names(GMimeObject* part, const std::wstring& fallback,
                                          attachment_record& attachment)
{
    join_encoded_words(part);
    const char* told = GMIME_IS_PART(part) ? g_mime_part_get_filename(GMIME_PART(part)) : nullptr;
    if (!told) {
        told = g_mime_object_get_content_disposition_parameter(part, "filename");
    }
    if (!told) {
        told = g_mime_object_get_content_type_parameter(part, "name");
    }
    const std::wstring name = to_wide(told);
    property_bag& properties = *attachment.properties;
    if (!name.empty()) {
        properties.set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(name));
        properties.set(PR_ATTACH_FILENAME_W, property_value::of_text(short_name(name)));
        properties.set(tag::attach_extension, property_value::of_text(extension_of(name)));
    }
    const std::wstring shown = !name.empty() ? name
                               : GMIME_IS_PART(part) && g_mime_part_get_content_description(GMIME_PART(part))
                                   ? to_wide(g_mime_part_get_content_description(GMIME_PART(part)))
                                   : fallback;
    if (!shown.empty()) {
        properties.set(PR_DISPLAY_NAME_W, property_value::of_text(shown));
    }
    properties.set(PR_ATTACH_MIME_TAG_W, text_value(mime_type_of(part).c_str()));
    properties.set(PR_RENDERING_POSITION, property_value::of_long(-1));
    if (const char* id = g_mime_object_get_content_id(part)) {
        properties.set(PR_ATTACH_CONTENT_ID_W, text_value(id));
    }
}

void message_parser::append(GMimeObject* part, attachment_record attachment)
{
    const auto number = static_cast<std::uint32_t>(record_.attachments.size());
    attachment.properties->origin(origin_here(part));
    record_.attachments.emplace(number, std::move(attachment));
}

std::shared_ptr<const part_origin> message_parser::origin_here(GMimeObject* part) const
{
    auto result = std::make_shared<part_origin>();
    result->path = path_;
    if (GMimeDataWrapper* content = GMIME_IS_PART(part) ? g_mime_part_get_content(GMIME_PART(part)) : nullptr) {
        result->range = range_behind(g_mime_data_wrapper_get_stream(content));
    }
    return result;
}

void message_parser::add_file(GMimePart* part)
{
    attachment_record attachment;
    set_attachment_names(GMIME_OBJECT(part), {}, attachment);
    property_bag& properties = *attachment.properties;
    if (const char* location = g_mime_part_get_content_location(part)) {
        properties.set(PR_ATTACH_CONTENT_LOCATION_W, text_value(location));
    }
    properties.set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    properties.set(PR_ATTACH_DATA_BIN, property_value::of_binary(part_content(part)));
    append(GMIME_OBJECT(part), std::move(attachment));
}

void message_parser::add_message(GMimeMessagePart* part)
{
    GMimeMessage* inner = g_mime_message_part_get_message(part);
    if (!inner || depth_ + 1 >= deepest_embedded) {
        add_whole(GMIME_OBJECT(part), inner ? source_of(GMIME_OBJECT(inner)) : bytes_of({}));
        return;
    }
    attachment_record attachment;
    set_attachment_names(GMIME_OBJECT(part), to_wide(g_mime_message_get_subject(inner)), attachment);
    attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_EMBEDDED_MSG));
    message_parser parser(record_.store, depth_ + 1);
    attachment.embedded = std::make_shared<const message_record>(parser.parse(inner, nullptr));
    append(GMIME_OBJECT(part), std::move(attachment));
}

void message_parser::add_whole(GMimeObject* part, bytes_ptr source)
{
    attachment_record attachment;
    set_attachment_names(part, {}, attachment);
    attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    attachment.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(std::move(source)));
    append(part, std::move(attachment));
}

void message_parser::hide_inline_images()
{
    constexpr std::int64_t rendered_in_body = 4;
    const std::set<std::string_view> shown = content_ids_in(html_);
    for (auto& [number, attachment] : record_.attachments) {
        const property_value* id = attachment.properties->find(PROP_ID(PR_ATTACH_CONTENT_ID_W));
        if (id && shown.contains(winapi::conv_to_char(id->wide(), winapi::code_page_utf8))) {
            attachment.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(true));
            attachment.properties->set(tag::attach_flags, property_value::of_long(rendered_in_body));
        }
    }
}

void message_parser::set_class(GMimeMessage* message)
{
    GMimeObject* top = g_mime_message_get_mime_part(message);
    std::wstring found = L"IPM.Note";
    if (!calendar_class_.empty()) {
        found = calendar_class_;
    } else if (top && is_type(top, "multipart", "signed")) {
        found = L"IPM.Note.SMIME.MultipartSigned";
    } else if (top && is_secured(top)) {
        found = L"IPM.Note.SMIME";
    }
    record_.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(found));
}

} // namespace host
