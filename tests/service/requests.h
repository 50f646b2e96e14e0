#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts of requests in wire format.
namespace test {

/// The service's URI in every request here.
inline constexpr std::string_view service_uri = "icap://127.0.0.1:1344/webscan";

/// Hexadecimal, lower case, without leading zeros.
[[nodiscard]] std::string hexadecimal(std::size_t value);

/// Returns `payload` as one chunk; an empty text for an empty payload.
[[nodiscard]] std::string chunk(std::string_view payload);
inline constexpr std::string_view end_mark = "0\r\n\r\n";

[[nodiscard]] std::string options_request(std::string_view uri = service_uri);

/// Returns a request without the chunked body that follows. `fields` are whole lines of the ICAP head.
[[nodiscard]] std::string reqmod_head(std::string_view http_head, std::string_view fields = "Allow: 204\r\n",
                                      std::string_view uri = service_uri, bool with_body = true);
[[nodiscard]] std::string respmod_head(std::string_view http_request, std::string_view http_response,
                                       std::string_view fields = "Allow: 204\r\n", std::string_view uri = service_uri,
                                       bool with_body = true);

/// Returns a mail scan as the mail client sends it: no preview, the body as one chunk, no end mark after an empty one.
[[nodiscard]] std::string mail_request(std::string_view body, std::string_view fields = "Allow: 204\r\n",
                                       std::string_view uri = service_uri);

/// Returns the head of a response with that many bytes.
[[nodiscard]] std::string object_head(std::size_t size);
/// Returns the head of an object scan with a preview. The caller appends the preview.
[[nodiscard]] std::string object_request_head(std::size_t size, std::size_t preview_size,
                                              std::string_view fields = "Allow: 204\r\n");
/// Return the preview in the standard form, and in the client's form, which is padded with zeros.
[[nodiscard]] std::string standard_preview(std::string_view object, std::size_t preview_size, bool ieof = false);
[[nodiscard]] std::string bare_preview(std::string_view object, std::size_t preview_size);

/// Returns the health check: a REQMOD without a body and with a preview of 0 bytes.
[[nodiscard]] std::string health_request();

} // namespace test
