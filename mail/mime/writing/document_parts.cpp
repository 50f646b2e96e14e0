#include "mail/mime/writing/document_parts.h"

#include <utility>

namespace host {

namespace {

gobject_ptr<GMimeObject> as_object(void* object)
{
    return gobject_ptr<GMimeObject>(GMIME_OBJECT(object));
}

void name_in_utf8(GMimeParamList* parameters, const char* name)
{
    if (GMimeParam* parameter = g_mime_param_list_get_parameter(parameters, name)) {
        g_mime_param_set_charset(parameter, "utf-8");
    }
}

} // namespace

part_maker::part_maker(std::shared_ptr<stream_failure> failure)
    : failure_(std::move(failure))
{}

gobject_ptr<GMimeObject> part_maker::body(const char* subtype, const std::string& charset, content_ptr content)
{
    auto part = as_object(g_mime_part_new_with_type("text", subtype));
    if (!charset.empty()) {
        g_mime_object_set_content_type_parameter(part.get(), "charset", charset.c_str());
    }
    constexpr auto encoding = GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
    const auto stream = make_source_stream(quoted_content(std::move(content)), failure_);
    const gobject_ptr<GMimeDataWrapper> wrapper(g_mime_data_wrapper_new_with_stream(stream.get(), encoding));
    g_mime_part_set_content_encoding(GMIME_PART(part.get()), encoding);
    g_mime_part_set_content(GMIME_PART(part.get()), wrapper.get());
    return part;
}

gobject_ptr<GMimeObject> part_maker::file(GMimeContentType* type, content_ptr content)
{
    auto part = as_object(g_mime_part_new());
    g_mime_object_set_content_type(part.get(), type);
    const auto stream = make_source_stream(std::move(content), failure_);
    const gobject_ptr<GMimeDataWrapper> wrapper(
        g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    g_mime_part_set_content_encoding(GMIME_PART(part.get()), GMIME_CONTENT_ENCODING_BASE64);
    g_mime_part_set_content(GMIME_PART(part.get()), wrapper.get());
    return part;
}

gobject_ptr<GMimeObject> part_maker::message(GMimeMessage* inner)
{
    return as_object(g_mime_message_part_new_with_message("rfc822", inner));
}

gobject_ptr<GMimeObject> part_maker::multipart(const char* subtype)
{
    auto part = as_object(g_mime_multipart_new_with_subtype(subtype));
    g_mime_multipart_set_boundary(GMIME_MULTIPART(part.get()), boundaries_.next().c_str());
    return part;
}

void add_part(GMimeObject& multipart, GMimeObject& part)
{
    g_mime_multipart_add(GMIME_MULTIPART(&multipart), &part);
}

void set_part_name(GMimeObject& part, const std::string& name, naming where)
{
    if (where != naming::in_type) {
        g_mime_object_set_content_disposition_parameter(&part, "filename", name.c_str());
        name_in_utf8(g_mime_content_disposition_get_parameters(g_mime_object_get_content_disposition(&part)),
                     "filename");
    }
    if (where != naming::in_disposition) {
        g_mime_object_set_content_type_parameter(&part, "name", name.c_str());
        name_in_utf8(g_mime_content_type_get_parameters(g_mime_object_get_content_type(&part)), "name");
    }
}

} // namespace host
