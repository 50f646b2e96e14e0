#pragma once

#include "tool/http/chunk_decoder.h"
#include "tool/http/message.h"

#include <cstdint>

namespace http {

/// The receiving side of the chunked framing around one HTTP message, as ICAP uses it: takes raw bytes from the wire,
/// separates chunk lines from payload, and passes the payload to the message. The HTTP message's own Transfer-Encoding
/// does not matter here. Not thread-safe; the lock of the ICAP message protects it.
///
/// Example:
///
///     http::http_message_body body(*message, false, false, 0);
///     while (begin != end && !body.completed()) {
///         begin += body.append(begin, end);
///     }
class http_message_body
{
public:
    /// `message` is not owned, must outlive the body, and must implement http::message2; otherwise throws
    /// std::bad_cast. `completed` is true for a null body. With `preview`, a completed body still accepts bytes.
    /// `preview_size` is in bytes.
    http_message_body(message& message, bool completed, bool preview, std::uint64_t preview_size);

    /// Takes bytes and returns the count taken. One call ends at the latest at the end of a chunk's payload or behind a
    /// last chunk; the caller offers the rest again. Payload beyond the message's length is counted but not stored. A
    /// malformed chunk line is not reported; see chunk_decoder.
    ///
    /// Throws std::runtime_error "http_message_body::append: invalid range [beg, end)" for a reversed range and
    /// "invalid state. body is completed" for a completed body without a preview, even for an empty range. Throws what
    /// the message's store throws; if that happens within a chunk, its payload can be offered again.
    std::uint64_t append(const char* begin, const char* end);

    /// Returns true if the last chunk has been read, or for a null body.
    [[nodiscard]] bool completed() const noexcept { return completed_; }
    /// Returns true if a last chunk's extension contained one of the letters i, e, o and f, which marks that the
    /// preview is the whole object. "0; ieof" is the usual form; "0;x=free" counts too, "0; IEOF" does not.
    [[nodiscard]] bool ieof() const noexcept { return ieof_; }
    /// Returns true if nothing can follow the preview:
    /// - the ieof mark was read or more_preview_need() was called;
    /// - the message is complete and larger than the preview;
    /// - Content-Length is 0;
    /// - a response has the status 204 or 304 or answers HEAD;
    /// - a request has neither Content-Length nor Transfer-Encoding.
    /// The last two are not checked for a chunked_message. Throws boost::bad_lexical_cast if Content-Length is not a
    /// number.
    [[nodiscard]] bool is_endoff_preview();
    /// Opens a completed body for the bytes behind the preview. Throws std::runtime_error "more_preview_need: already
    /// end of preview" if is_endoff_preview(), and what that function throws.
    void more_preview_need();
    /// Adds a chunk to the list; append() fills an unfinished one first. Throws std::runtime_error "add_chunk failed:
    /// add chunk with unspecified size".
    void add_chunk(const chunk_record& record) { decoder_.add_chunk(record); }
    /// Returns the trailer lines, each with its line end; empty if there were none.
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
