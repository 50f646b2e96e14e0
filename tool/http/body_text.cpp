#include "tool/http/body_text.h"

#include <algorithm>
#include <limits>

namespace http {

span_writer::span_writer(read_span* span, byte_vector& out) noexcept
    : span_(span)
    , out_(out)
    , begin_(span == nullptr ? 0 : span->offset)
    , wanted_(span == nullptr ? std::numeric_limits<std::uint64_t>::max() : span->length)
{}

span_writer::part span_writer::next(std::uint64_t size) noexcept
{
    part result;
    result.offset = begin_ > position_ ? std::min(begin_ - position_, size) : 0;
    result.length = std::min(size - result.offset, wanted_);
    position_ += size;
    return result;
}

void span_writer::put(std::string_view text)
{
    const part taken = next(text.size());
    const auto first = text.begin() + static_cast<std::ptrdiff_t>(taken.offset);
    out_.insert(out_.end(), first, first + static_cast<std::ptrdiff_t>(taken.length));
    wanted_ -= taken.length;
}

void span_writer::put(web::io_data& store)
{
    const part taken = next(store.size());
    std::uint64_t offset = taken.offset;
    const std::uint64_t end = taken.offset + taken.length;
    while (offset != end) {
        const std::uint64_t count = std::min(end - offset, step);
        const std::size_t place = out_.size();
        out_.resize(place + static_cast<std::size_t>(count));
        const std::uint64_t read = store.read(offset, out_.data() + place, count);
        out_.resize(place + static_cast<std::size_t>(read));
        if (read == 0) {
            break;
        }
        offset += read;
        wanted_ -= read;
    }
}

bool span_writer::finish()
{
    if (span_ != nullptr) {
        span_->offset += out_.size();
    }
    return !out_.empty();
}

} // namespace http
