#pragma once

#include "tool/http/message.h"
#include "tool/http/message_headers.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace icap {

/// The values of message::type().
inline constexpr std::uint32_t type_request = 1;
inline constexpr std::uint32_t type_response = 2;

/// The Encapsulated header: a flag for each entry, 1 if it is present, and its offset in bytes. Offsets count from the
/// first byte behind the ICAP head. The offset of an absent entry is 0.
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
    http::byte_vector* bytes = nullptr; ///< not owned, not null; read() replaces its contents
    std::size_t count = 0;              ///< bytes of the piece
};

/// Yields the bytes of one complete message in pieces. A piece belongs to one section: a head or a body. A body is
/// written as one chunk, in pieces of at most 4096 body bytes. A reader is used once. The message must outlive its
/// reader. Not thread-safe.
///
/// Example:
///
///     http::byte_vector bytes;
///     icap::packet piece{&bytes, 0};
///     const std::unique_ptr<icap::packet_reader> reader = message.reader();
///     while (reader->read(piece)) {
///         send(bytes.data(), piece.count);
///     }
class packet_reader
{
public:
    /// Stores the next piece in `out` and returns true, or returns false if there is nothing more to send.
    virtual bool read(packet& out) = 0;
    virtual ~packet_reader() = default;
    /// Appends pieces to `bytes` until these are at least `least` or nothing is left. Body bytes leave their store in
    /// one read as far as they are asked for. Returns false if there was nothing left. Throws what read() throws.
    virtual bool gather(http::byte_vector& bytes, std::size_t least) = 0;
};

/// One ICAP message: a head and up to two encapsulated HTTP messages.
///
/// Thread-safety: operations that read or change the encapsulated messages, the headers or the id take the message's
/// lock. The results of request(), response(), headers() and raw_head() are not protected after they return.
class message
{
public:
    /// Sets a number that is free for the caller; it is 0 at first.
    virtual void set_id(std::uint32_t id) = 0;
    [[nodiscard]] virtual std::uint32_t id() const = 0;
    [[nodiscard]] virtual std::uint32_t type() const = 0; ///< type_request or type_response
    /// Returns true if all bytes that the head announces have been received.
    [[nodiscard]] virtual bool complete() = 0;
    /// Returns the table of the ICAP headers. The message owns it.
    [[nodiscard]] virtual http::message_headers& headers() = 0;
    [[nodiscard]] virtual const http::message_headers& headers() const = 0;
    /// Returns the text of the ICAP head, from the start line to the blank line. A change of a header replaces it.
    [[nodiscard]] virtual const http::byte_vector& raw_head() const = 0;
    /// Takes the bytes that follow the ICAP head: encapsulated heads and the chunked body. Takes the whole range and
    /// returns its length, or throws; the message then keeps what the steps before the failure took. Each HTTP head is
    /// limited to 16640 bytes. The implementations list their exceptions.
    virtual std::uint64_t append(const char* begin, const char* end) = 0;
    /// Returns a reader for the bytes of the message, which the caller owns. Reading needs a complete message.
    [[nodiscard]] virtual std::unique_ptr<packet_reader> reader() = 0;
    /// Returns true if the head of the encapsulated HTTP request has been read.
    [[nodiscard]] virtual bool has_request() = 0;
    /// Returns the encapsulated HTTP request, which this message owns. Throws std::runtime_error "request message does
    /// not exist".
    [[nodiscard]] virtual http::message& request() = 0;
    /// Returns true if the head of the encapsulated HTTP response has been read.
    [[nodiscard]] virtual bool has_response() = 0;
    /// Returns the encapsulated HTTP response, which this message owns. Throws std::runtime_error "response message
    /// does not exist".
    [[nodiscard]] virtual http::message& response() = 0;
    /// Takes ownership of an HTTP message, which must implement http::message2 and replaces the one of its type, and
    /// sets the record of the Encapsulated header. The header itself is rewritten if it is present. Throws
    /// std::invalid_argument "set_encapsulated: message is null" and, after the replacement, what
    /// encapsulated_from_messages() throws.
    virtual void set_encapsulated(std::unique_ptr<http::message> part) = 0;
    /// Returns the HTTP message of `kind`, http::type_request or http::type_response, to the caller, who owns it then.
    /// The Encapsulated header remains unchanged. Throws std::runtime_error "could not release encapsulated message:
    /// unknown message type" for another kind or if there is no such message.
    [[nodiscard]] virtual std::unique_ptr<http::message> release_encapsulated(std::uint32_t kind) = 0;
    virtual ~message() = default;
};

} // namespace icap
