#include "tool/http/message_body.h"

#include "tool/http/header_names.h"
#include "tool/http/messages.h"
#include "tool/http/method_words.h"

#include <boost/lexical_cast.hpp>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace http {

http_message_body::http_message_body(message& message, bool completed, bool preview, std::uint64_t preview_size)
    : message_(message)
    , input_(dynamic_cast<message2&>(message))
    , completed_(completed)
    , preview_(preview)
    , preview_size_(preview_size)
{}

std::uint64_t http_message_body::append(const char* begin, const char* end)
{
    if (begin > end) {
        throw std::runtime_error("http_message_body::append: invalid range [beg, end)");
    }
    if (completed_ && !preview_) {
        throw std::runtime_error("invalid state. body is completed");
    }
    if (begin == end) {
        return 0;
    }
    const auto write = [this](const char* first, const char* last) { input_.input(first, last); };
    if (const std::uint64_t written = decoder_.fill_unfinished(begin, end, write); written != 0) {
        return written;
    }
    std::uint64_t used = 0;
    const chunk_line_result line = decoder_.read_line(begin, end, used);
    completed_ = line.completed;
    if (line.completed) {
        trailers_.insert(trailers_.end(), line.trailers.begin(), line.trailers.end());
        // Any of the four letters counts as the mark, wherever it is in the extension.
        ieof_ = ieof_ || line.extension.find_first_of("ieof") != std::string::npos;
    } else if (line.size != unspecified_size) {
        used += decoder_.start_chunk(line.size, begin + used, end, write);
    }
    input_.set_completed(completed_);
    return used;
}

bool http_message_body::is_endoff_preview()
{
    return ieof_ || more_preview_requested_ || (message_.body_size() > preview_size_ && message_.complete()) ||
           nothing_follows();
}

bool http_message_body::nothing_follows()
{
    const auto length = message_.headers().get(header_name::content_length);
    if (length && boost::lexical_cast<std::uint32_t>(length->data(), length->size()) == 0) {
        return true;
    }
    if (const auto* response = dynamic_cast<const response_message*>(&message_)) {
        return response->status() == 204 || response->status() == 304 || response->request_method() == method::head;
    }
    return dynamic_cast<const request_message*>(&message_) != nullptr && !length &&
           !message_.headers().get(header_name::transfer_encoding);
}

void http_message_body::more_preview_need()
{
    if (is_endoff_preview()) {
        throw std::runtime_error("more_preview_need: already end of preview");
    }
    completed_ = false;
    input_.set_completed(false);
    more_preview_requested_ = true;
}

} // namespace http
