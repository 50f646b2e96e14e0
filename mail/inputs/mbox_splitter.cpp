#include "mail/inputs/mbox_splitter.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace host {

namespace {

constexpr std::size_t buffer_size = 1U << 16U;
constexpr std::string_view envelope = "From ";

bool is_blank_line(std::string_view line)
{
    return line == "\n" || line == "\r\n";
}

/// Returns true for a line that begins like an envelope line after one or more ">". An mbox stores such lines with an
/// additional ">".
bool is_quoted_line(std::string_view line)
{
    const std::size_t text = line.find_first_not_of('>');
    return text != 0 && text != std::string_view::npos && line.substr(text).starts_with(envelope);
}

} // namespace

buffered_stream::buffered_stream(std::unique_ptr<byte_stream> source)
    : source_(std::move(source))
    , buffer_(buffer_size, '\0')
{}

/// Reads once. Returns false at the end of the stream, or if the buffer is full.
bool buffered_stream::fill()
{
    if (begin_ != 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (ended_ || end_ == buffer_.size()) {
        return false;
    }
    const std::size_t got = source_->read(buffer_.data() + end_, buffer_.size() - end_);
    ended_ = got == 0;
    end_ += got;
    return got != 0;
}

std::string_view buffered_stream::peek(std::size_t count)
{
    while (end_ - begin_ < count && fill()) {
    }
    return std::string_view(buffer_).substr(begin_, std::min(count, end_ - begin_));
}

std::string_view buffered_stream::take_piece()
{
    std::size_t searched = 0;
    std::size_t size = 0;
    do {
        const std::string_view seen = std::string_view(buffer_).substr(begin_, end_ - begin_);
        const std::size_t line_end = seen.find('\n', searched);
        size = line_end == std::string_view::npos ? seen.size() : line_end + 1;
        searched = seen.size();
        if (line_end != std::string_view::npos) {
            break;
        }
    } while (fill());
    const std::string_view piece = std::string_view(buffer_).substr(begin_, size);
    begin_ += size;
    taken_ += size;
    return piece;
}

bool is_envelope(std::string_view line)
{
    return line.starts_with(envelope);
}

mbox_splitter::mbox_splitter(buffered_stream& stream, bool keeps_first)
    : stream_(stream)
    , keeps_first_(keeps_first)
{
    while (take() && !is_envelope_) {
    }
    has_more_ = is_envelope_;
}

bool mbox_splitter::take()
{
    piece_ = stream_.take_piece();
    is_envelope_ = begins_line_ && follows_blank_ && is_envelope(piece_);
    is_line_begin_ = begins_line_;
    follows_blank_ = begins_line_ && is_blank_line(piece_);
    begins_line_ = piece_.ends_with('\n');
    return !piece_.empty();
}

bytes_ptr mbox_splitter::next()
{
    if (!has_more_) {
        return nullptr;
    }
    scratch message;
    scratch stored;
    bool in_envelope = true; // also the further pieces of a long line
    do {
        in_envelope = in_envelope && (is_envelope_ || !is_line_begin_);
        if (!in_envelope) {
            const bool quoted = is_line_begin_ && is_quoted_line(piece_);
            message.append(quoted ? piece_.substr(1) : piece_);
        }
        if (keeps_first_) {
            stored.append(piece_);
        }
    } while (take() && !is_envelope_);
    has_more_ = is_envelope_;
    first_as_stored_ = keeps_first_ ? stored.freeze() : nullptr;
    keeps_first_ = false;
    return message.freeze();
}

} // namespace host
