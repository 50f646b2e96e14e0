#include "mail/mime/reading/part_content.h"

#include "mail/mime/text/charset_text.h"
#include "mail/mime/text/gmime_streams.h"

#include <array>

namespace host {

namespace {

bool is_encoded(GMimeContentEncoding encoding)
{
    return encoding == GMIME_CONTENT_ENCODING_BASE64 || encoding == GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE ||
           encoding == GMIME_CONTENT_ENCODING_UUENCODE;
}

bytes_ptr decode(const bytes& encoded, GMimeContentEncoding encoding)
{
    const gobject_ptr<GMimeFilter> filter(g_mime_filter_basic_new(encoding, FALSE));
    scratch decoded;
    std::array<char, 65536> block{};
    char* out = nullptr;
    size_t size = 0;
    size_t spare = 0;
    for (std::uint64_t offset = 0;;) {
        const std::size_t got = encoded.read(offset, block.data(), block.size());
        if (got == 0) {
            break;
        }
        offset += got;
        g_mime_filter_filter(filter.get(), block.data(), got, 0, &out, &size, &spare);
        decoded.append({out, size});
    }
    g_mime_filter_complete(filter.get(), block.data(), 0, 0, &out, &size, &spare);
    decoded.append({out, size});
    return decoded.freeze();
}

} // namespace

bytes_ptr part_content(GMimePart* part)
{
    GMimeDataWrapper* wrapper = g_mime_part_get_content(part);
    if (!wrapper) {
        return bytes_of({});
    }
    const bytes_ptr source = bytes_behind(g_mime_data_wrapper_get_stream(wrapper));
    if (!source) {
        return bytes_of({});
    }
    const GMimeContentEncoding encoding = g_mime_data_wrapper_get_encoding(wrapper);
    return is_encoded(encoding) ? decode(*source, encoding) : source;
}

std::string charset_of(GMimePart* part)
{
    return text_of(g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "charset"));
}

std::string part_text(GMimePart* part)
{
    return to_utf8(to_string(*part_content(part)), charset_of(part));
}

property_value part_text_value(GMimePart* part)
{
    text_builder text;
    to_utf8(*part_content(part), charset_of(part), [&](std::string_view piece) { text.append(to_wide(piece)); });
    return text.value();
}

} // namespace host
