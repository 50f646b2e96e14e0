#pragma once

#include "tool/http/chunk_decoder.h"
#include "tool/http/message.h"

#include <cstdint>

namespace http {

/// The receiving side of the chunked framing around one HTTP message: takes raw bytes from the wire, separates chunk
/// lines from payload and hands the payload to the message. No lock: used inside the lock of the message around it.
class http_message_body
{
public:
    /// `message` is not owned and must offer http::message2 (std::bad_cast otherwise). `completed` is true for a null
    /// body. `preview` lets a completed body go on taking bytes.
    http_message_body(message& message, bool completed, bool preview, std::uint64_t preview_size);

    /// Takes bytes and returns the count taken, which ends at a chunk's end or at a chunk line's payload at the latest;
    /// the rest is offered again. Raises std::runtime_error "http_message_body::append: invalid range [beg, end)" and
    /// "invalid state. body is completed", and what the message's store raises.
    std::uint64_t append(const char* begin, const char* end);

    [[nodiscard]] bool completed() const noexcept { return completed_; }
    /// The last chunk's extension held one of the letters i, e, o, f.
    [[nodiscard]] bool ieof() const noexcept { return ieof_; }
    /// True when nothing can follow the preview. Raises boost::bad_lexical_cast for a Content-Length that is no number.
    [[nodiscard]] bool is_endoff_preview();
    /// Opens a completed body for the bytes behind the preview. Raises std::runtime_error
    /// "more_preview_need: already end of preview".
    void more_preview_need();
    /// Raises std::runtime_error "add_chunk failed: add chunk with unspecified size".
    void add_chunk(const chunk_record& record) { decoder_.add_chunk(record); }
    /// Text of trailer headers, empty when there were none.
    [[nodiscard]] const byte_vector& trailers() const noexcept { return trailers_; }

private:
    [[nodiscard]] bool nothing_follows();

    http::message& message_;
    message2& input_;
    bool completed_;
    bool preview_;
    std::uint64_t preview_size_;
    chunk_decoder decoder_;
    byte_vector trailers_;
    bool ieof_ = false;
    bool more_preview_requested_ = false;
};

} // namespace http
