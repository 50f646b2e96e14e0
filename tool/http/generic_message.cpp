#include "tool/http/body_text.h"
#include "tool/http/header_names.h"
#include "tool/http/messages.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <utility>

namespace http {

generic_message::generic_message(byte_vector raw_head, std::uint64_t content_length, std::unique_ptr<web::io_data> body)
    : raw_head_(std::move(raw_head))
    , content_length_(content_length)
    , created_(static_cast<std::uint32_t>(std::clock()))
    , body_(std::move(body))
{}

bool generic_message::complete()
{
    const std::lock_guard guard(lock_);
    return body_->size() == content_length_;
}

bool generic_message::read(read_span* span, byte_vector& out)
{
    const std::lock_guard guard(lock_);
    out.clear();
    span_writer writer(span, out);
    writer.put({raw_head_.data(), raw_head_.size()});
    writer.put(*body_);
    return writer.finish();
}

void generic_message::set_body(std::unique_ptr<web::io_data> store)
{
    const std::lock_guard guard(lock_);
    body_ = std::move(store);
    update_length();
}

std::uint64_t generic_message::body_size()
{
    const std::lock_guard guard(lock_);
    return body_->size();
}

std::uint64_t generic_message::total_size()
{
    const std::lock_guard guard(lock_);
    return raw_head_.size() + body_->size();
}

std::uint64_t generic_message::append(const char* begin, const char* end)
{
    const std::lock_guard guard(lock_);
    const std::uint64_t size = body_->size();
    if (size == content_length_) {
        return 0;
    }
    const std::uint64_t count = std::min(static_cast<std::uint64_t>(end - begin), content_length_ - size);
    return count == 0 ? 0 : body_->append(begin, count);
}

void generic_message::update_length()
{
    const std::lock_guard guard(lock_);
    if (!headers().get(header_name::content_length)) {
        return;
    }
    const std::uint64_t size = body_->size();
    headers().set(header_name::content_length, std::to_string(size));
    content_length_ = size;
}

void generic_message::attach(std::shared_ptr<void> attachment)
{
    const std::lock_guard guard(lock_);
    attachment_ = std::move(attachment);
}

std::shared_ptr<void> generic_message::attachment()
{
    const std::lock_guard guard(lock_);
    return attachment_;
}

void generic_message::mark_chunked()
{
    const std::lock_guard guard(lock_);
    content_length_ = unknown_length;
    flag_ = true;
}

} // namespace http
