#pragma once

#include "tool/http/header_table.h"
#include "tool/icap/message_base.h"

#include <cstdint>
#include <memory>
#include <string>

namespace icap {

/// The method of an ICAP request.
enum class request_method : std::uint32_t
{
    unknown = 0,
    reqmod = 1,
    respmod = 2,
    options = 3
};

namespace detail {

/// Returns true if a request of `method` has all its bytes. Throws std::runtime_error "complete(): unknown request
/// method" for request_method::unknown.
[[nodiscard]] bool request_complete(request_method method, const encapsulated_part& request,
                                    const encapsulated_part& response);

} // namespace detail

/// One ICAP request, usually made by analyzer::extract(). It is constructed from its head and filled with append().
///
/// Example, a service that reads past the preview of a complete request:
///
///     if (request.preview_present() && !request.is_endoff_preview()) {
///         request.more_preview_need(); // complete() is false again
///         send_continue();             // the client then sends the rest, which the analyzer feeds
///     }
class request_message final : public message_base, public http::message_headers_impl<http::request_data>
{
public:
    /// Takes ownership of the head; the ranges of `record` must point into the buffer of `raw_head`, which is moved and
    /// not copied. The method is compared case-insensitively. Throws std::runtime_error "unknown requet method", and
    /// "invalid reqmod request: req-hdr must exists" if REQMOD or RESPMOD has no req-hdr entry.
    request_message(http::byte_vector raw_head, const http::request_data& record, const encapsulated_offsets& offsets);
    ~request_message() override;

    [[nodiscard]] std::uint32_t type() const override { return type_request; }
    /// Returns true if the body of the HTTP request (REQMOD) or the bodies of both HTTP messages (RESPMOD) are
    /// complete. OPTIONS is always complete.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] http::message_headers& headers() override { return *this; }
    [[nodiscard]] const http::message_headers& headers() const override { return *this; }
    /// Takes the bytes behind the ICAP head: the HTTP heads, whose sizes follow from the Encapsulated header, then the
    /// chunked body. With a preview, more bytes are accepted after completion. The offsets of that header, not the end
    /// of the HTTP head, determine where the body begins.
    ///
    /// Throws std::runtime_error
    /// - "append: invalid range [beg, end)" for a reversed range;
    /// - "request message has been completed" for a complete message without a preview;
    /// - "invalid state. body is completed" for bytes behind the last chunk in the same range;
    /// - "invalid request body", "invalid response header" or "invalid response body" for a missing entry;
    /// - "reqmod request: actual header size exceeded header size in request", or the texts for the two heads of
    ///   RESPMOD, if an HTTP head does not end where the Encapsulated header specifies;
    /// - "implementation does not requeried" for OPTIONS with a preview.
    /// Throws std::out_of_range for an HTTP head of more than 16640 bytes, and what the body's store throws.
    std::uint64_t append(const char* begin, const char* end) override;
    /// Returns a reader, which throws while the message is not complete.
    [[nodiscard]] std::unique_ptr<packet_reader> reader() override;

    [[nodiscard]] request_method method() const noexcept { return method_; }
    /// Returns the parsed head. Its ranges become invalid with any change of a header.
    [[nodiscard]] const http::request_data& record() const noexcept { return record_; }
    /// Returns true if the head has a "Preview" header.
    [[nodiscard]] bool preview_present() const noexcept { return preview_present_; }
    /// Returns the size of the preview in bytes as the "Preview" header specifies it; 0 if it is absent or not a
    /// number. A negative number becomes a very large one.
    [[nodiscard]] std::uint64_t preview_size() const noexcept { return preview_size_; }
    /// Returns true if the value of "Allow" begins with the number 204: "204, 206" does, "206, 204" does not.
    [[nodiscard]] bool allow_204() const noexcept { return allow_204_; }

    /// Opens a body that ended with its preview for the bytes that follow a "100 Continue". Throws std::runtime_error
    /// "more_preview_need(): is not a preview mode" without a "Preview" header, "more_preview_need(): unsupported
    /// request method" for OPTIONS, "more_preview_need(): body does not exist" before the HTTP head has been read, or
    /// "more_preview_need: already end of preview" if is_endoff_preview().
    void more_preview_need();
    /// Returns true after more_preview_need() was called in a request with a preview, even if that call failed later.
    [[nodiscard]] bool more_preview_requested() const noexcept { return more_preview_requested_; }
    /// Returns true if nothing can follow the preview, as http::http_message_body::is_endoff_preview() does; false
    /// before the body exists. Throws std::runtime_error "is_endoff_preview(): unsupported request method" for OPTIONS,
    /// and what that function throws.
    [[nodiscard]] bool is_endoff_preview();

    /// Returns true if "Connection" is present and is not "keep-alive", compared case-insensitively.
    [[nodiscard]] bool connection_close();
    /// Returns the value of "Host" with a terminating zero byte; only that byte if the header is absent.
    [[nodiscard]] http::byte_vector host();
    /// Returns the path of the request's URI, as http::parse_uri() finds it. Throws std::runtime_error
    /// "request_message: uri parsing failed".
    [[nodiscard]] std::string uri_path();

private:
    using append_handler = std::uint64_t (request_message::*)(const char* begin, const char* end);

    std::uint64_t append_reqmod(const char* begin, const char* end);
    std::uint64_t append_respmod(const char* begin, const char* end);
    std::uint64_t append_nothing(const char* begin, const char* end);
    /// Returns the initial state of the body that the request is about.
    [[nodiscard]] detail::body_start main_body() const noexcept;
    /// Returns the body that the request is about. Throws std::runtime_error `unsupported` for OPTIONS.
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
