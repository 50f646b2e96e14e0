#pragma once

#include "tool/icap/message.h"
#include "tool/web/io_data.h"

#include <cstdint>

namespace icap {

namespace detail {

/// Body bytes in one piece, without the framing.
constexpr std::uint64_t piece_size = 4096;

/// Writes one body as a single chunk, one piece at a time.
struct body_cursor
{
    std::uint64_t size = 0;     ///< of the whole body, in bytes
    std::uint64_t position = 0; ///< body bytes written so far

    [[nodiscard]] bool at_end() const noexcept { return position == size; }
    /// Appends the next piece, of up to `most` body bytes, to `bytes`. The first piece begins with the chunk's size in
    /// lower-case hexadecimal; the last ends with the end mark. Returns false and appends nothing for an empty body.
    /// Throws std::runtime_error "packet reader: content size exceeded" behind the last piece, and "packet reader: body
    /// ended before its size" if the store has fewer bytes than `size`.
    bool next(web::io_data& body, http::byte_vector& bytes, std::uint64_t most = piece_size);
};

} // namespace detail

/// Writes a complete message: ICAP head, HTTP request head, its body, HTTP response head, its body. Each body is one
/// chunk, in pieces of at most 4096 body bytes, and the end mark. The end mark follows an HTTP response without body
/// bytes twice ("0\r\n\r\n0\r\n\r\n"); it does not follow an HTTP request without body bytes.
class packet_reader_impl final : public packet_reader
{
public:
    /// `source` is not owned and must outlive the reader. The sizes of the bodies are read here; the bodies must not
    /// change afterwards.
    explicit packet_reader_impl(message& source);

    /// Throws std::runtime_error "could no read incomplet message" if the message is not complete, and what
    /// body_cursor::next() throws.
    bool read(packet& out) override;
    bool gather(http::byte_vector& bytes, std::size_t least) override;

private:
    void require_complete() const;
    /// Appends the next piece, of up to `most` body bytes. Returns false if there is none.
    bool append_next(http::byte_vector& bytes, std::uint64_t most);

    message& source_;
    bool head_sent_ = false;
    bool request_sent_ = false;
    bool response_sent_ = false;
    detail::body_cursor request_;
    detail::body_cursor response_;
    bool finished_ = false;
};

} // namespace icap
