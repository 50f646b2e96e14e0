#pragma once

#include "tool/http/header_table.h"
#include "tool/icap/message_base.h"

#include <cstdint>
#include <memory>

namespace icap {

/// The kind of contents that the Encapsulated header of a response announces.
enum class response_body_type : std::uint32_t
{
    unknown = 0,
    request = 1,  ///< an HTTP request: the list has a req-hdr entry
    response = 2, ///< an HTTP response: a res-hdr entry and no req-hdr entry
    none = 3      ///< "null-body=0": nothing follows
};

namespace detail {

/// Returns true if a response of that body type has all its bytes. Throws std::runtime_error "complete(): unknown type
/// of body for response" for response_body_type::unknown.
[[nodiscard]] bool response_complete(response_body_type type, const encapsulated_part& request,
                                     const encapsulated_part& response);

} // namespace detail

/// One ICAP response, usually made by analyzer::extract(). It is constructed from its head and filled with append().
class response_message final : public message_base, public http::message_headers_impl<http::response_data>
{
public:
    /// Takes ownership of the head; the ranges of `record` must point into the buffer of `raw_head`, which is moved and
    /// not copied. Throws std::runtime_error "unknown type of body for response" if the record has no req-hdr or
    /// res-hdr entry and is not "null-body=0".
    response_message(http::byte_vector raw_head, const http::response_data& record,
                     const encapsulated_offsets& offsets);
    ~response_message() override;

    [[nodiscard]] std::uint32_t type() const override { return type_response; }
    /// Returns true if the announced body is complete; always for response_body_type::none.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] http::message_headers& headers() override { return *this; }
    [[nodiscard]] const http::message_headers& headers() const override { return *this; }
    /// Takes the bytes behind the ICAP head: one HTTP head, whose size follows from the Encapsulated header, then the
    /// chunked body. A body with the entries "req-hdr, res-hdr, res-body" cannot be read.
    ///
    /// Throws std::runtime_error
    /// - "append: invalid range [beg, end)" for a reversed range;
    /// - "request message has been completed" for a complete response;
    /// - "invalid state. body is completed" for bytes behind the last chunk in the same range;
    /// - "invalid request body" or "invalid response body" for a missing entry.
    /// Throws std::out_of_range "inmemory_cache::append() failed: max size exceeded" for an HTTP head of more than
    /// 16640 bytes or one that does not end where the Encapsulated header specifies, and what the body's store throws.
    std::uint64_t append(const char* begin, const char* end) override;
    /// Returns a reader. Throws std::runtime_error "built encapsulated tag is wrong" if the record of the Encapsulated
    /// header differs from the one that fits the HTTP messages; an announced body without any bytes is such a case.
    [[nodiscard]] std::unique_ptr<packet_reader> reader() override;

    /// Returns the kind of contents that the head announced when it was read. set_encapsulated() does not change it.
    [[nodiscard]] response_body_type body_type() const noexcept { return body_type_; }
    /// Returns the parsed head. Its ranges become invalid with any change of a header.
    [[nodiscard]] const http::response_data& record() const noexcept { return record_; }
    [[nodiscard]] std::uint32_t status() const noexcept { return record_.status; }

private:
    using append_handler = std::uint64_t (response_message::*)(const char* begin, const char* end);

    std::uint64_t append_request(const char* begin, const char* end);
    std::uint64_t append_response(const char* begin, const char* end);
    std::uint64_t append_nothing(const char* begin, const char* end);
    std::uint64_t append_sole_part(detail::encapsulated_part& part, std::uint32_t head_size, const char* begin,
                                   const char* end);

    http::response_data record_;
    append_handler append_handler_ = nullptr;
    response_body_type body_type_;
};

} // namespace icap
