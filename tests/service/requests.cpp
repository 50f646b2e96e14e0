#include "tests/service/requests.h"

#include <array>
#include <charconv>

namespace test {

std::string hexadecimal(std::size_t value)
{
    std::array<char, 16> digits;
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr};
}

std::string chunk(std::string_view payload)
{
    std::string text;
    if (!payload.empty()) {
        text.append(hexadecimal(payload.size())).append("\r\n").append(payload).append("\r\n");
    }
    return text;
}

std::string options_request(std::string_view uri)
{
    std::string text = "OPTIONS ";
    return text.append(uri).append(" ICAP/1.0\r\nHost: 127.0.0.1\r\nEncapsulated: null-body=0\r\n\r\n");
}

std::string reqmod_head(std::string_view http_head, std::string_view fields, std::string_view uri, bool with_body)
{
    std::string text = "REQMOD ";
    text.append(uri).append(" ICAP/1.0\r\nHost: 127.0.0.1\r\n").append(fields);
    text.append("Encapsulated: req-hdr=0, ").append(with_body ? "req-body=" : "null-body=");
    return text.append(std::to_string(http_head.size())).append("\r\n\r\n").append(http_head);
}

std::string respmod_head(std::string_view http_request, std::string_view http_response, std::string_view fields,
                         std::string_view uri, bool with_body)
{
    std::string text = "RESPMOD ";
    text.append(uri).append(" ICAP/1.0\r\nHost: 127.0.0.1\r\n").append(fields);
    text.append("Encapsulated: req-hdr=0, res-hdr=").append(std::to_string(http_request.size()));
    text.append(with_body ? ", res-body=" : ", null-body=");
    text.append(std::to_string(http_request.size() + http_response.size())).append("\r\n\r\n");
    return text.append(http_request).append(http_response);
}

std::string mail_request(std::string_view body, std::string_view fields, std::string_view uri)
{
    const std::string http =
        "POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    std::string lines(fields);
    lines.append("X-Mail-Type: 1\r\nX-Mail-Attach-Name: \r\n");
    std::string text = reqmod_head(http, lines, uri);
    return body.empty() ? text : text.append(chunk(body)).append(end_mark);
}

std::string object_head(std::size_t size)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " + std::to_string(size) +
           "\r\n\r\n";
}

std::string object_request_head(std::size_t size, std::size_t preview_size, std::string_view fields)
{
    std::string lines(fields);
    lines.append("Preview: ").append(std::to_string(preview_size)).append("\r\n");
    return respmod_head("GET http://host/file.bin HTTP/1.1\r\n\r\n", object_head(size), lines);
}

std::string standard_preview(std::string_view object, std::size_t preview_size, bool ieof)
{
    return chunk(object.substr(0, preview_size)).append(ieof ? "0; ieof\r\n\r\n" : end_mark);
}

std::string bare_preview(std::string_view object, std::size_t preview_size)
{
    std::string text;
    if (preview_size != 0) {
        std::string preview(object.substr(0, preview_size));
        preview.resize(preview_size, '\0');
        text.append(hexadecimal(preview_size)).append(preview).append("\r\n");
    }
    return text.append(end_mark);
}

std::string health_request()
{
    return reqmod_head("GET http://health_test HTTP/1.1\r\n\r\n",
                       "Allow: 204\r\nPreview: 0\r\nX-Health-Test: SXMgc2Nhbm5lciBhdmFpbGFibGU/\r\n", service_uri,
                       false);
}

} // namespace test
