#include "tool/http/head_records.h"

namespace http {

void move_text(request_data& record, const char* from, const char* to) noexcept
{
    for (range* const part : {&record.protocol, &record.method, &record.uri, &record.version}) {
        *part = moved_text(*part, from, to);
    }
    record.fields.move_text(from, to);
}

void move_text(response_data& record, const char* from, const char* to) noexcept
{
    for (range* const part : {&record.protocol, &record.version, &record.reason}) {
        *part = moved_text(*part, from, to);
    }
    record.fields.move_text(from, to);
}

} // namespace http
