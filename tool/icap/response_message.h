#pragma once

#include "tool/http/header_table.h"
#include "tool/icap/message_base.h"

#include <cstdint>
#include <memory>

namespace icap {

/// What the Encapsulated header of a response announces.
enum class response_body_type : std::uint32_t
{
    unknown = 0,
    request = 1,  ///< an HTTP request
    response = 2, ///< an HTTP response
    none = 3      ///< "null-body=0": nothing follows
};

namespace detail {

/// Whether a reply of that body type has all its bytes. Raises std::runtime_error
/// "complete(): unknown type of body for response".
[[nodiscard]] bool response_complete(response_body_type type, const encapsulated_part& request,
                                     const encapsulated_part& response);

} // namespace detail

/// One ICAP reply: complete with its head, filled with append(). Made by analyzer::extract.
class response_message final : public message_base, public http::message_headers_impl<http::response_data>
{
public:
    /// Takes the head and the record of it; the record's ranges point into `raw_head`, whose buffer is moved, not
    /// copied. Raises std::runtime_error "unknown type of body for response".
    response_message(http::byte_vector raw_head, const http::response_data& record,
                     const encapsulated_offsets& offsets);
    ~response_message() override;

    [[nodiscard]] std::uint32_t type() const override { return type_response; }
    /// The announced body is there and complete; always true for response_body_type::none.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] http::message_headers& headers() override { return *this; }
    [[nodiscard]] const http::message_headers& headers() const override { return *this; }
    /// Takes body bytes: one encapsulated head, then the chunked body. A complete reply refuses with std::runtime_error
    /// "request message has been completed".
    std::uint64_t append(const char* begin, const char* end) override;
    /// Raises std::runtime_error "built encapsulated tag is wrong" when the record of the Encapsulated header is not
    /// the one that the HTTP messages give.
    [[nodiscard]] std::unique_ptr<packet_reader> reader() override;

    [[nodiscard]] response_body_type body_type() const noexcept { return body_type_; }
    /// The parsed head. Its ranges are dead after any change of a header.
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
