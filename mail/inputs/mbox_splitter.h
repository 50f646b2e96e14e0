#pragma once

#include "mail/inputs/byte_stream.h"
#include "store/bytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace host {

/// A stream of bytes with a look ahead of a bounded size.
class buffered_stream
{
public:
    explicit buffered_stream(std::unique_ptr<byte_stream> source);

    /// Returns the next bytes without taking them: at least `count`, which is at most 4096, unless the stream ends.
    std::string_view peek(std::size_t count);
    /// Takes and returns the next bytes: up to the next line end and including it, or a part of a line that is too long
    /// for the look ahead. Empty at the end. Valid until the next call.
    std::string_view take_piece();
    /// Returns true if the bytes are those of an ordinary file, which can be opened again by its name.
    [[nodiscard]] bool is_regular() const { return source_->is_regular(); }
    /// Returns the number of bytes taken.
    [[nodiscard]] std::uint64_t taken() const noexcept { return taken_; }

private:
    bool fill();

    std::unique_ptr<byte_stream> source_;
    std::string buffer_;
    std::size_t begin_ = 0; ///< of the bytes that were not taken yet
    std::size_t end_ = 0;
    std::uint64_t taken_ = 0;
    bool ended_ = false;
};

/// Returns true if the bytes begin like the envelope line of a message in an mbox.
bool is_envelope(std::string_view line);

/// Splits an mbox into messages, one at a time: each begins after an envelope line that is the first line or follows a
/// blank line. The envelope line is removed, and lines that an mbox stores with an additional ">" are restored.
class mbox_splitter
{
public:
    /// `stream` must outlive the object. With `keeps_first`, first_as_stored() returns the first message.
    mbox_splitter(buffered_stream& stream, bool keeps_first);

    /// Returns the next message; null at the end.
    bytes_ptr next();
    /// Returns false after the last message was returned.
    [[nodiscard]] bool has_more() const noexcept { return has_more_; }
    /// Returns the first message as it is in the mbox, with its envelope line. Null before the first call of next() and
    /// after the second.
    [[nodiscard]] const bytes_ptr& first_as_stored() const noexcept { return first_as_stored_; }

private:
    /// Takes the next piece. Returns false at the end.
    bool take();

    buffered_stream& stream_;
    std::string_view piece_;
    bool is_line_begin_ = false; ///< piece_ begins a line
    bool is_envelope_ = false;   ///< piece_ begins an envelope line
    bool begins_line_ = true;    ///< the next piece begins a line
    bool follows_blank_ = true;  ///< the next line follows a blank one, or is the first
    bool has_more_ = false;
    bool keeps_first_;
    bytes_ptr first_as_stored_;
};

} // namespace host
