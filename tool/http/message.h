#pragma once

#include "tool/http/message_headers.h"
#include "tool/web/io_data.h"

#include <cstdint>
#include <ctime>
#include <memory>

namespace http {

class message;

/// The numbers of a Content-Range value; all are 0xFFFFFFFF if the header is absent or of another form.
struct content_range_data
{
    std::uint32_t first = 0xFFFFFFFFU; ///< position of the first byte
    std::uint32_t last = 0xFFFFFFFFU;  ///< position of the last byte
    std::uint32_t total = 0xFFFFFFFFU; ///< size of the whole object in bytes
};

/// Selects what message::read() copies from the text of a message, which is the head followed by the body.
struct read_span
{
    std::uint64_t length = ~std::uint64_t{0}; ///< at most this many bytes; all ones: no limit
    std::uint64_t offset = 0;                 ///< bytes of the text to skip; read() advances it
};

/// The values of message::type().
inline constexpr std::uint32_t type_request = 1;
inline constexpr std::uint32_t type_response = 2;

/// Receiver of message::accept(). `argument` is the caller's value, passed through.
class message_handler
{
public:
    virtual void on_request(message& request, void* argument) = 0;
    virtual void on_response(message& response, void* argument) = 0;
    virtual ~message_handler() = default;
};

/// One HTTP message: a parsed head and a body in a web::io_data store.
///
/// Example, a message in pieces of at most 4096 bytes:
///
///     http::read_span span{4096, 0};
///     http::byte_vector piece;
///     while (message.read(&span, piece)) {
///         send(piece.data(), piece.size());
///     }
///
/// Thread-safety: operations that use the head, the store, the header table or the attachment take the message's lock.
/// id, flag, created(), type() and the references from body(), raw_head() and headers() are not protected. Operations
/// that use the store throw what the store throws.
class message
{
public:
    /// Sets a number that is free for the caller; it is 0 at first.
    virtual void set_id(std::uint32_t id) = 0;
    [[nodiscard]] virtual std::uint32_t id() const = 0;
    [[nodiscard]] virtual std::uint32_t type() const = 0; ///< type_request or type_response
    /// Returns true if the whole body has been received.
    [[nodiscard]] virtual bool complete() = 0;
    /// Returns the number of the Content-Type's main type as content_kind_of() does; 0 for requests.
    [[nodiscard]] virtual std::uint32_t content_kind() = 0;
    /// Returns the number of the Content-Encoding as encoding_kind_of() does; 0 for requests.
    [[nodiscard]] virtual std::uint32_t encoding_kind() = 0;
    /// Returns the numbers of the Content-Range; all ones for requests.
    [[nodiscard]] virtual content_range_data content_range() = 0;
    /// Returns the store of the body without framing. The message owns it; set_body() invalidates the reference.
    [[nodiscard]] virtual web::io_data& body() = 0;
    /// Returns the text of the head, from the start line to the blank line. A change of a header replaces it.
    [[nodiscard]] virtual const byte_vector& raw_head() const = 0;
    /// Copies the part of head and body that `span` selects to `out`, whose former contents are discarded. A null
    /// `span` selects everything. Advances span->offset by the count of bytes copied. Returns true if `out` is not
    /// empty.
    virtual bool read(read_span* span, byte_vector& out) = 0;
    /// Replaces the store, takes ownership of the new one, which must not be null, and calls update_length(). Throws as
    /// message_headers does if the head cannot be rebuilt.
    virtual void set_body(std::unique_ptr<web::io_data> store) = 0;
    [[nodiscard]] virtual std::uint32_t created() const = 0; ///< low 32 bits of clock() at construction
    /// Calls on_request() or on_response() of `handler`, by the type of the message.
    virtual void accept(message_handler& handler, void* argument) = 0;
    /// Returns the size of the store in bytes.
    [[nodiscard]] virtual std::uint64_t body_size() = 0;
    /// Returns the sizes of head and store together in bytes, without framing.
    [[nodiscard]] virtual std::uint64_t total_size() = 0;
    /// Adds body bytes as far as the message's length allows and returns the count taken, which may be less than
    /// offered. Chunked messages expect the chunked framing here. `begin` must not be above `end`.
    virtual std::uint64_t append(const char* begin, const char* end) = 0;
    /// Returns the header table. The message owns it.
    [[nodiscard]] virtual message_headers& headers() = 0;
    /// A mark that is free for the caller. mark_chunked() sets that of the message that a chunked_message wraps.
    [[nodiscard]] virtual bool flag() const = 0;
    virtual void flag(bool value) = 0;
    /// Sets Content-Length to the size of the store if the head has this header; otherwise does nothing. Chunked
    /// messages do nothing.
    virtual void update_length() = 0;
    /// Stores an object of the caller, which may be null. The message owns a share of it until it is replaced or the
    /// message is destroyed.
    virtual void attach(std::shared_ptr<void> attachment) = 0;
    /// Returns the object that attach() stored, null if there is none.
    [[nodiscard]] virtual std::shared_ptr<void> attachment() = 0;
    virtual ~message() = default;
};

/// The entry for body bytes whose framing has been removed by another protocol, such as ICAP. The messages of
/// messages.h implement it beside `message`.
class message2
{
public:
    /// Takes payload and returns the count of bytes taken.
    virtual std::uint64_t input(const char* begin, const char* end) = 0;
    /// Reports whether the other protocol has reached the end of the body. It may become false again after a preview.
    virtual void set_completed(bool completed) = 0;
    virtual ~message2() = default;
};

} // namespace http
