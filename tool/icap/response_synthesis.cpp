#include "tool/icap/response_synthesis.h"

#include "tool/icap/analyzer.h"

#include <stdexcept>

namespace icap {
namespace {

constexpr const char* empty_reply = "ICAP/1.0 %RESPONSECODE% %RESPONSELINE%\r\n"
                                    "Date: %DATE%\r\n"
                                    "Service: %SERVICE%\r\n"
                                    "Service-ID: TRAL\r\n"
                                    "ISTag: %ISTAG%\r\n"
                                    "Connection: %KEEP-ALIVE%\r\n"
                                    "Encapsulated: null-body=0\r\n\r\n";

constexpr const char* options_reply =
    "ICAP/1.0 200 OK\r\n"
    "Date: %DATE%\r\n"
    "Methods: %METHODS%\r\n"
    "Service: %SERVICE%\r\n"
    "ISTag: %ISTAG%\r\n"
    "Encapsulated: null-body=0\r\n"
    "Service-ID: TRAL\r\n"
    "Allow: %ALLOW%\r\n"
    "X-Allow-Out: X-Infection-Found, X-Violations-Found, X-Client-IP, X-Server-IP, X-Authenticated-User, "
    "X-Authenticated-Groups\r\n"
    "Max-Connections: 5120\r\n"
    "Options-TTL: 3600\r\n"
    "Preview: %PREVIEW%\r\n"
    "Transfer-Preview: %TRANSFERPREVIEW%\r\n\r\n";

/// Replaces the first occurrence. A value that contains a later placeholder is therefore filled in its place.
void fill(std::string& text, std::string_view placeholder, std::string_view value)
{
    const std::size_t position = text.find(placeholder);
    if (position != std::string::npos) {
        text.replace(position, placeholder.size(), value);
    }
}

std::string join(const std::vector<std::string>& words)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : ", ";
        text += words[i];
    }
    return text;
}

std::string_view response_line(std::uint32_t status)
{
    switch (status) {
    case 100:
        return "Continue";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 400:
        return "Bad request";
    default:
        return "OK";
    }
}

/// Returns the response of that text. `failure` is the text of the exceptions, or their beginning.
std::unique_ptr<response_message> parse_reply(const std::string& text, const std::string& failure)
{
    analyzer reader;
    reader.enqueue(text.data(), text.data() + text.size());
    std::unique_ptr<message> made = reader.extract();
    if (dynamic_cast<response_message*>(made.get()) == nullptr) {
        throw std::runtime_error(failure);
    }
    std::unique_ptr<response_message> reply(static_cast<response_message*>(made.release()));
    if (!reply->complete()) {
        throw std::runtime_error(failure + ": message does not complete");
    }
    return reply;
}

} // namespace

std::unique_ptr<response_message> make_empty_response(const char* istag, std::uint32_t status,
                                                      const server_options& options, bool close)
{
    if (istag == nullptr) {
        throw std::invalid_argument("istag can not be null");
    }
    if (*istag == '\0') {
        throw std::invalid_argument("istag can not be empty");
    }
    if (options.service_name.empty()) {
        throw std::invalid_argument("'server_options.service_name' can not be empty");
    }
    std::string text = empty_reply;
    fill(text, "%KEEP-ALIVE%", close ? "close" : "keep-alive");
    fill(text, "%RESPONSELINE%", response_line(status));
    fill(text, "%RESPONSECODE%", std::to_string(status));
    fill(text, "%DATE%", format_date());
    fill(text, "%SERVICE%", options.service_name);
    fill(text, "%ISTAG%", istag);
    return parse_reply(text, "could not create empty response message");
}

std::unique_ptr<response_message> make_options_response(std::string_view istag, const server_options& options)
{
    std::string text = options_reply;
    fill(text, "%DATE%", format_date());
    fill(text, "%METHODS%", join(options.methods));
    fill(text, "%SERVICE%", options.service_name);
    fill(text, "%ISTAG%", istag);
    fill(text, "%ALLOW%", join(options.allow));
    fill(text, "%PREVIEW%", options.preview);
    fill(text, "%TRANSFERPREVIEW%", join(options.transfer_preview));
    return parse_reply(text, "could not create option response message");
}

} // namespace icap
