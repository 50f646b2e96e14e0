#pragma once

#include "tool/http/message.h"
#include "tool/http/message_headers.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace icap {

inline constexpr std::uint32_t type_request = 1;
inline constexpr std::uint32_t type_response = 2;

/// The Encapsulated header: which entries are present, and their offsets in bytes.
struct encapsulated_offsets
{
    std::uint8_t req_hdr = 0;
    std::uint8_t req_body = 0;
    std::uint8_t res_hdr = 0;
    std::uint8_t res_body = 0;
    std::uint8_t opt_body = 0;
    std::uint8_t null_body = 0;
    std::uint32_t req_hdr_offset = 0;
    std::uint32_t req_body_offset = 0;
    std::uint32_t res_hdr_offset = 0;
    std::uint32_t res_body_offset = 0;
    std::uint32_t opt_body_offset = 0;
    std::uint32_t null_body_offset = 0;

    bool operator==(const encapsulated_offsets&) const = default;
};

/// One piece of a message on its way to the wire.
struct packet
{
    http::byte_vector* bytes = nullptr; ///< not owned; read() replaces its contents
    std::size_t count = 0;              ///< bytes of the piece
};

/// Yields the bytes of one complete message in pieces of one section each, body pieces of at most 4096 body bytes.
/// Single use. The message outlives its reader. No lock: used by the sender's thread only.
class packet_reader
{
public:
    /// True when `out` holds bytes to send, false when there is nothing more.
    virtual bool read(packet& out) = 0;
    virtual ~packet_reader() = default;
};

/// One ICAP message. Every operation takes the message's lock; results of request(), response() and raw_head() are
/// not protected after they return.
class message
{
public:
    virtual void set_id(std::uint32_t id) = 0;
    [[nodiscard]] virtual std::uint32_t id() const = 0;
    [[nodiscard]] virtual std::uint32_t type() const = 0; ///< type_request or type_response
    [[nodiscard]] virtual bool complete() = 0;
    [[nodiscard]] virtual http::message_headers& headers() = 0;
    [[nodiscard]] virtual const http::message_headers& headers() const = 0;
    [[nodiscard]] virtual const http::byte_vector& raw_head() const = 0;
    /// Gives body bytes to the message; returns how many it took.
    virtual std::uint64_t append(const char* begin, const char* end) = 0;
    [[nodiscard]] virtual std::unique_ptr<packet_reader> reader() = 0;
    [[nodiscard]] virtual bool has_request() = 0;
    /// The encapsulated HTTP request; raises std::runtime_error "request message does not exist".
    [[nodiscard]] virtual http::message& request() = 0;
    [[nodiscard]] virtual bool has_response() = 0;
    /// The encapsulated HTTP response; raises std::runtime_error "response message does not exist".
    [[nodiscard]] virtual http::message& response() = 0;
    /// Takes an HTTP message, makes its body and rebuilds the Encapsulated header.
    virtual void set_encapsulated(std::unique_ptr<http::message> part) = 0;
    /// Gives back the HTTP message of kind http::type_request or http::type_response.
    [[nodiscard]] virtual std::unique_ptr<http::message> release_encapsulated(std::uint32_t kind) = 0;
    virtual ~message() = default;
};

} // namespace icap
