#include "tool/icap/encapsulated_part.h"

#include <utility>

namespace icap::detail {

http::analyzer& encapsulated_part::analyzer(http::support_persistent* link)
{
    if (!analyzer_) {
        analyzer_ = std::make_unique<http::analyzer>(link);
    }
    return *analyzer_;
}

void encapsulated_part::append_head(const char* begin, const char* end, http::support_persistent* link,
                                    const body_start& start)
{
    http::analyzer& reader = analyzer(link);
    reader.enqueue(begin, end);
    if (message_) {
        reader.feed(*message_);
        return;
    }
    message_ = reader.extract(false);
    if (message_) {
        body_ =
            std::make_unique<http::http_message_body>(*message_, start.completed, start.preview, start.preview_size);
    }
}

void encapsulated_part::offer_until_overflow(const char* begin, const char* end, http::support_persistent* link)
{
    http::analyzer& reader = analyzer(link);
    for (;;) {
        reader.enqueue(begin, end);
    }
}

void encapsulated_part::set(std::unique_ptr<http::message> message)
{
    // The body refers to the message, so the old body must be destroyed first.
    body_.reset();
    message_ = std::move(message);
    body_ = std::make_unique<http::http_message_body>(*message_, message_->complete(), false, 0);
}

std::unique_ptr<http::message> encapsulated_part::release()
{
    body_.reset();
    return std::move(message_);
}

} // namespace icap::detail
