#pragma once

#include "tool/http/message_headers.h"
#include "tool/web/io_data.h"

#include <cstdint>
#include <ctime>
#include <memory>

namespace http {

class message;

/// Bounds of a Content-Range; all ones when the header is absent or of another form.
struct content_range_data
{
    std::uint32_t first = 0xFFFFFFFFU;
    std::uint32_t last = 0xFFFFFFFFU;
    std::uint32_t total = 0xFFFFFFFFU;
};

/// What read() is to copy: from `offset` of head and body together, at most `length` bytes (all ones: no limit).
struct read_span
{
    std::uint64_t length = ~std::uint64_t{0};
    std::uint64_t offset = 0;
};

inline constexpr std::uint32_t type_request = 1;
inline constexpr std::uint32_t type_response = 2;

/// Receiver of message::accept.
class message_handler
{
public:
    virtual void on_request(message& request, void* argument) = 0;
    virtual void on_response(message& response, void* argument) = 0;
    virtual ~message_handler() = default;
};

/// One HTTP message: a parsed head and a body in a web::io_data store. Operations that touch the head, the store or
/// the header table take the message's lock.
class message
{
public:
    virtual void set_id(std::uint32_t id) = 0;
    [[nodiscard]] virtual std::uint32_t id() const = 0;
    [[nodiscard]] virtual std::uint32_t type() const = 0; ///< type_request or type_response
    [[nodiscard]] virtual bool complete() = 0;
    [[nodiscard]] virtual std::uint32_t content_kind() = 0;
    [[nodiscard]] virtual std::uint32_t encoding_kind() = 0;
    [[nodiscard]] virtual content_range_data content_range() = 0;
    [[nodiscard]] virtual web::io_data& body() = 0;
    [[nodiscard]] virtual const byte_vector& raw_head() const = 0;
    /// Copies a span of head and body to `out`, which is emptied first; no span means everything. Returns whether
    /// `out` holds anything; span->offset moves on by what was copied.
    virtual bool read(read_span* span, byte_vector& out) = 0;
    /// Takes ownership of a new store and updates Content-Length where the head has one.
    virtual void set_body(std::unique_ptr<web::io_data> store) = 0;
    [[nodiscard]] virtual std::uint32_t created() const = 0; ///< clock() at construction
    virtual void accept(message_handler& handler, void* argument) = 0;
    [[nodiscard]] virtual std::uint64_t body_size() = 0;
    [[nodiscard]] virtual std::uint64_t total_size() = 0;
    /// Adds body bytes as far as the message's length allows; returns the count taken.
    virtual std::uint64_t append(const char* begin, const char* end) = 0;
    [[nodiscard]] virtual message_headers& headers() = 0;
    [[nodiscard]] virtual bool flag() const = 0;
    virtual void flag(bool value) = 0;
    virtual void update_length() = 0;
    virtual void attach(std::shared_ptr<void> attachment) = 0;
    [[nodiscard]] virtual std::shared_ptr<void> attachment() = 0;
    virtual ~message() = default;
};

/// The entry for body bytes whose framing was taken off by another protocol.
class message2
{
public:
    /// Takes body bytes; returns the count taken.
    virtual std::uint64_t input(const char* begin, const char* end) = 0;
    virtual void set_completed(bool completed) = 0;
    virtual ~message2() = default;
};

} // namespace http
