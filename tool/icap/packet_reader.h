#pragma once

#include "tool/icap/message.h"
#include "tool/web/io_data.h"

#include <cstdint>

namespace icap {

namespace detail {

/// Writes one body as a single chunk, a piece at a time.
struct body_cursor
{
    std::uint64_t size = 0; ///< of the whole body
    std::uint64_t position = 0;

    [[nodiscard]] bool at_end() const noexcept { return position == size; }
    /// Adds the next piece to `bytes`; the first begins with the chunk's size, the last ends with the end mark. Returns
    /// false, with nothing added, for an empty body. Raises std::runtime_error "packet reader: content size exceeded"
    /// behind the last piece.
    bool next(web::io_data& body, http::byte_vector& bytes);
};

} // namespace detail

/// Writes a complete message: ICAP head, HTTP request head, its body, HTTP response head, its body. A body goes out as
/// one chunk, in pieces of at most 4096 body bytes. An HTTP response without body bytes is followed by the end mark
/// twice; an HTTP request without body bytes is followed by none.
class packet_reader_impl final : public packet_reader
{
public:
    static constexpr std::uint64_t piece_size = 4096;

    /// `source` is not owned and outlives the reader. Sizes of bodies are taken here.
    explicit packet_reader_impl(message& source);

    /// Raises std::runtime_error "could no read incomplet message", and "packet reader: body ended before its size" for
    /// a store that gives less than its size.
    bool read(packet& out) override;

private:
    message& source_;
    bool head_sent_ = false;
    bool request_sent_ = false;
    bool response_sent_ = false;
    detail::body_cursor request_;
    detail::body_cursor response_;
    bool finished_ = false;
};

} // namespace icap
