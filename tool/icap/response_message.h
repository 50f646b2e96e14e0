#pragma once

#include "tool/http/head_records.h"
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

/// One ICAP reply: complete with its head, filled with append(). Made by analyzer::extract.
class response_message final : public message_base
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
    [[nodiscard]] http::message_headers& headers() override;
    [[nodiscard]] const http::message_headers& headers() const override;
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
    http::response_data record_;
    response_body_type body_type_;
};

} // namespace icap
