#include "service/object_lists.h"
#include "service/request_reader.h"
#include "service/safe_text.h"
#include "tool/http/messages.h"
#include "tool/system/ascii.h"

#include <algorithm>

namespace service {

namespace {

std::string value_of(http::message_headers& headers, std::string_view name)
{
    const auto value = headers.get(name);
    return std::string(value ? winapi::trimmed({value->begin(), value->end()}) : std::string_view());
}

int digit_value(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char small = static_cast<char>(character | 0x20);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

std::string percent_decoded(std::string_view text)
{
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? digit_value(text[i + 1]) : -1;
        const int low = high >= 0 ? digit_value(text[i + 2]) : -1;
        if (low >= 0) {
            decoded.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            decoded.push_back(text[i]);
        }
    }
    return decoded;
}

/// Returns the last part of a URI's path. The name of a host is no name of a file.
std::string name_in(std::string_view uri)
{
    uri = uri.substr(0, uri.find_first_of("?#"));
    if (const std::size_t scheme = uri.find("://"); scheme != std::string_view::npos) {
        uri.remove_prefix(scheme + 3);
        uri = uri.substr(std::min(uri.find('/'), uri.size()));
    }
    return percent_decoded(uri.substr(uri.find_last_of('/') + 1));
}

listed_object mail_object(icap::request_message& request)
{
    if (value_of(request.headers(), "X-Mail-Type") == "1") {
        return {};
    }
    const std::string encoded = value_of(request.headers(), "X-Mail-Attach-Name");
    listed_object found{from_base64(encoded).value_or(encoded), value_of(request.headers(), "X-Mime-Type")};
    // The client sends attached messages like this, whose own type is another one.
    if (found.name.empty() && found.type == "text/html") {
        found.type.clear();
    }
    return found;
}

} // namespace

listed_object listed_object_of(request_reader& reader)
{
    icap::request_message& request = *reader.request();
    if (request.encapsulated().null_body != 0) {
        return {};
    }
    if (request.headers().get("X-Mail-Type")) {
        return mail_object(request);
    }
    if (request.method() == icap::request_method::reqmod) {
        return {{}, request.has_request() ? value_of(request.request().headers(), "Content-Type") : std::string()};
    }
    listed_object found;
    const auto* const asked =
        request.has_request() ? dynamic_cast<const http::request_message*>(&request.request()) : nullptr;
    if (asked != nullptr) {
        found.name = name_in(asked->record().uri);
    }
    if (request.has_response()) {
        found.type = value_of(request.response().headers(), "Content-Type");
    }
    return found;
}

} // namespace service
