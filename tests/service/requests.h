#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts of requests, as they go over the wire.
namespace test {

/// The service's URI in every request here.
inline constexpr std::string_view service_uri = "icap://127.0.0.1:1344/webscan";

/// Hexadecimal, lower case, without leading zeros.
[[nodiscard]] std::string hexadecimal(std::size_t value);

/// `payload` as one chunk; nothing for an empty one.
[[nodiscard]] std::string chunk(std::string_view payload);
inline constexpr std::string_view end_mark = "0\r\n\r\n";

[[nodiscard]] std::string options_request(std::string_view uri = service_uri);

/// A request without the chunked body that follows. `fields` are whole lines of the ICAP head.
[[nodiscard]] std::string reqmod_head(std::string_view http_head, std::string_view fields = "Allow: 204\r\n",
                                      std::string_view uri = service_uri, bool with_body = true);
[[nodiscard]] std::string respmod_head(std::string_view http_request, std::string_view http_response,
                                       std::string_view fields = "Allow: 204\r\n", std::string_view uri = service_uri,
                                       bool with_body = true);

/// A mail scan as the mail client sends it: no preview, the body as one chunk, no end mark behind an empty one.
[[nodiscard]] std::string mail_request(std::string_view body, std::string_view fields = "Allow: 204\r\n",
                                       std::string_view uri = service_uri);

/// The head of a response with that many bytes.
[[nodiscard]] std::string object_head(std::size_t size);
/// The head of an object scan with a preview; the preview is to follow.
[[nodiscard]] std::string object_request_head(std::size_t size, std::size_t preview_size,
                                              std::string_view fields = "Allow: 204\r\n");
/// The preview in the form of the standard, and as the client sends it, which fills it up with zeros.
[[nodiscard]] std::string standard_preview(std::string_view object, std::size_t preview_size, bool ieof = false);
[[nodiscard]] std::string bare_preview(std::string_view object, std::size_t preview_size);

/// The health check: a REQMOD without a body but with a preview of 0 bytes.
[[nodiscard]] std::string health_request();

} // namespace test
