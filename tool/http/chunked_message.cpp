#include "tool/http/body_text.h"
#include "tool/http/messages.h"
#include "tool/system/conversions.h"

#include <platform/debug_stop.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace http {

chunked_message::chunked_message(std::unique_ptr<generic_message> inner)
    : inner_(std::move(inner))
{
    inner_->mark_chunked();
}

bool chunked_message::complete()
{
    const std::lock_guard guard(lock_);
    return completed_;
}

bool chunked_message::read(read_span* span, byte_vector& out)
{
    const std::lock_guard guard(lock_);
    const std::lock_guard inner_guard(inner_->lock_);
    out.clear();
    const std::string_view trailers(trailers_.data(), trailers_.size());
    span_writer writer(span, out);
    writer.put({inner_->raw_head_.data(), inner_->raw_head_.size()});
    writer.put(winapi::to_hex(inner_->body_->size()) + "\r\n");
    writer.put(*inner_->body_);
    writer.put("\r\n");
    if (span == nullptr) {
        // The whole text has a blank line behind the end mark, and one more line end if there are no trailers.
        writer.put("0\r\n\r\n");
        writer.put(trailers.empty() ? std::string_view("\r\n") : trailers);
    } else {
        writer.put("0\r\n");
        writer.put(trailers);
        writer.put("\r\n");
        if (span->offset > writer.position()) {
            platform::debug_stop(); // the caller's offset is beyond the text
        }
    }
    return writer.finish();
}

std::uint64_t chunked_message::append(const char* begin, const char* end)
{
    if (begin > end) {
        throw std::runtime_error("http_message_body::append: invalid range [beg, end)");
    }
    const std::lock_guard guard(lock_);
    if (completed_) {
        throw std::runtime_error("invalid state. body is completed");
    }
    if (begin == end) {
        return 0;
    }
    const auto write = [this](const char* first, const char* last) { inner_->append(first, last); };
    if (const std::uint64_t written = decoder_.fill_unfinished(begin, end, write); written != 0) {
        return written;
    }
    std::uint64_t used = 0;
    const chunk_line_result line = decoder_.read_line(begin, end, used);
    // Sizes are 32-bit numbers here: all ones is no size, and any chunk of size 0 is the last.
    const auto size = static_cast<std::uint32_t>(line.size);
    completed_ = size == 0;
    if (line.completed) {
        trailers_.insert(trailers_.end(), line.trailers.begin(), line.trailers.end());
    } else if (!completed_ && size != static_cast<std::uint32_t>(unspecified_size)) {
        used += decoder_.start_chunk(size, begin + used, end, write);
    }
    return used;
}

void chunked_message::attach(std::shared_ptr<void> attachment)
{
    const std::lock_guard guard(lock_);
    attachment_ = std::move(attachment);
}

std::shared_ptr<void> chunked_message::attachment()
{
    const std::lock_guard guard(lock_);
    return attachment_;
}

std::uint64_t chunked_message::input(const char* begin, const char* end)
{
    const std::lock_guard guard(lock_);
    const auto length = static_cast<std::uint64_t>(end - begin);
    if (length == 0 || completed_) {
        return length;
    }
    decoder_.add_chunk({length, length});
    return inner_->append(begin, end);
}

void chunked_message::set_completed(bool completed)
{
    const std::lock_guard guard(lock_);
    completed_ = completed;
}

} // namespace http
