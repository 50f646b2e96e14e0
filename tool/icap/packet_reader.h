#pragma once

#include "tool/icap/message.h"

#include <cstdint>

namespace icap {

/// Writes a complete message: ICAP head, HTTP request head, its body, HTTP response head, its body. A body goes out as
/// one chunk, in pieces of at most 4096 body bytes. An HTTP response without body bytes is followed by the end mark
/// twice; an HTTP request without body bytes is followed by none.
class packet_reader_impl final : public packet_reader
{
public:
    static constexpr std::uint64_t piece_size = 4096;

    /// `source` is not owned and outlives the reader. Sizes of bodies are taken here.
    explicit packet_reader_impl(message& source);

    /// Raises std::runtime_error "could no read incomplet message" and "packet reader: content size exceeded".
    bool read(packet& out) override;

private:
    struct body_cursor
    {
        std::uint64_t size = 0;
        std::uint64_t position = 0;
    };

    bool read_body(http::message& source, body_cursor& cursor, packet& out);

    message& source_;
    bool head_sent_ = false;
    bool request_sent_ = false;
    bool response_sent_ = false;
    body_cursor request_;
    body_cursor response_;
    bool finished_ = false;
};

} // namespace icap
