#pragma once

#include "tool/http/header_table.h"
#include "tool/icap/message_base.h"

#include <cstdint>
#include <memory>
#include <string>

namespace icap {

/// Method of an ICAP request.
enum class request_method : std::uint32_t
{
    unknown = 0,
    reqmod = 1,
    respmod = 2,
    options = 3
};

namespace detail {

/// Whether a request of that method has all its bytes. Raises std::runtime_error
/// "complete(): unknown request method".
[[nodiscard]] bool request_complete(request_method method, const encapsulated_part& request,
                                    const encapsulated_part& response);

} // namespace detail

/// One ICAP request: complete with its head, filled with append(). Made by analyzer::extract.
class request_message final : public message_base, public http::message_headers_impl<http::request_data>
{
public:
    /// Takes the head and the record of it; the record's ranges point into `raw_head`, whose buffer is moved, not
    /// copied. Raises std::runtime_error "unknown requet method" and "invalid reqmod request: req-hdr must exists".
    request_message(http::byte_vector raw_head, const http::request_data& record, const encapsulated_offsets& offsets);
    ~request_message() override;

    [[nodiscard]] std::uint32_t type() const override { return type_request; }
    /// REQMOD: the request's body is complete; RESPMOD: both bodies are; OPTIONS: always.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] http::message_headers& headers() override { return *this; }
    [[nodiscard]] const http::message_headers& headers() const override { return *this; }
    /// Takes body bytes: encapsulated heads, then the chunked body. Raises std::runtime_error, among others
    /// "request message has been completed" for a complete message without a preview.
    std::uint64_t append(const char* begin, const char* end) override;
    [[nodiscard]] std::unique_ptr<packet_reader> reader() override;

    [[nodiscard]] request_method method() const noexcept { return method_; }
    /// The parsed head. Its ranges are dead after any change of a header.
    [[nodiscard]] const http::request_data& record() const noexcept { return record_; }
    [[nodiscard]] bool preview_present() const noexcept { return preview_present_; }
    [[nodiscard]] std::uint64_t preview_size() const noexcept { return preview_size_; }
    /// "Allow" begins with the number 204.
    [[nodiscard]] bool allow_204() const noexcept { return allow_204_; }

    /// Opens a body that ended with its preview for the bytes that follow a "100 Continue". Raises std::runtime_error
    /// "more_preview_need(): is not a preview mode", "more_preview_need(): unsupported request method" or
    /// "more_preview_need: already end of preview".
    void more_preview_need();
    [[nodiscard]] bool more_preview_requested() const noexcept { return more_preview_requested_; }
    /// True when nothing can follow the preview; false while the body doesn't exist. Raises std::runtime_error
    /// "is_endoff_preview(): unsupported request method".
    [[nodiscard]] bool is_endoff_preview();

    /// True when "Connection" is present and is not "keep-alive" in any case of letters.
    [[nodiscard]] bool connection_close();
    /// The value of "Host", with a zero byte behind it; only that byte when the header is absent.
    [[nodiscard]] http::byte_vector host();
    /// The path of the request's URI. Raises std::runtime_error "request_message: uri parsing failed".
    [[nodiscard]] std::string uri_path();

private:
    using append_handler = std::uint64_t (request_message::*)(const char* begin, const char* end);

    std::uint64_t append_reqmod(const char* begin, const char* end);
    std::uint64_t append_respmod(const char* begin, const char* end);
    std::uint64_t append_nothing(const char* begin, const char* end);
    /// How the body that the request is about begins.
    [[nodiscard]] detail::body_start main_body() const noexcept;
    /// The body that the request is about; raises std::runtime_error of that text for other methods.
    [[nodiscard]] http::http_message_body* main_body_or(const char* unsupported) const;

    http::request_data record_;
    detail::support_persistent_impl link_; ///< the method of the encapsulated request
    append_handler append_handler_ = nullptr;
    request_method method_ = request_method::unknown;
    bool preview_present_ = false;
    std::uint64_t preview_size_ = 0;
    bool allow_204_ = false;
    bool more_preview_requested_ = false;
};

} // namespace icap
