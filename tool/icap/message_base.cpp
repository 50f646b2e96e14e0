#include "tool/icap/message_base.h"

#include "tool/icap/encapsulated.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace icap {

message_base::message_base(http::byte_vector raw_head, const encapsulated_offsets& offsets)
    : head_text_(std::move(raw_head))
    , offsets_(offsets)
{}

message_base::~message_base() = default;

void message_base::set_id(std::uint32_t id)
{
    const std::lock_guard guard(message_lock_);
    id_ = id;
}

std::uint32_t message_base::id() const
{
    const std::lock_guard guard(message_lock_);
    return id_;
}

bool message_base::has_request()
{
    const std::lock_guard guard(message_lock_);
    return request_part_.message() != nullptr;
}

http::message& message_base::request()
{
    const std::lock_guard guard(message_lock_);
    if (request_part_.message() == nullptr) {
        throw std::runtime_error("request message does not exist");
    }
    return *request_part_.message();
}

bool message_base::has_response()
{
    const std::lock_guard guard(message_lock_);
    return response_part_.message() != nullptr;
}

http::message& message_base::response()
{
    const std::lock_guard guard(message_lock_);
    if (response_part_.message() == nullptr) {
        throw std::runtime_error("response message does not exist");
    }
    return *response_part_.message();
}

void message_base::set_encapsulated(std::unique_ptr<http::message> part)
{
    const std::lock_guard guard(message_lock_);
    if (!part) {
        throw std::invalid_argument("set_encapsulated: message is null");
    }
    auto& place = part->type() == http::type_request ? request_part_ : response_part_;
    place.set(std::move(part));
    const encapsulated_offsets built = encapsulated_from_messages(request_part_.message(), response_part_.message());
    if (headers().get("Encapsulated")) {
        headers().set("Encapsulated", encapsulated_text(built));
    }
    offsets_ = built;
}

std::unique_ptr<http::message> message_base::release_encapsulated(std::uint32_t kind)
{
    const std::lock_guard guard(message_lock_);
    if (kind == http::type_request && request_part_.message() != nullptr) {
        return request_part_.release();
    }
    if (kind == http::type_response && response_part_.message() != nullptr) {
        return response_part_.release();
    }
    throw std::runtime_error("could not release encapsulated message: unknown message type");
}

encapsulated_offsets message_base::encapsulated() const
{
    const std::lock_guard guard(message_lock_);
    return offsets_;
}

std::uint64_t message_base::append_head(detail::encapsulated_part& part, const head_bounds& bounds,
                                        const body_range& range, http::support_persistent* link,
                                        const detail::body_start& start)
{
    const std::uint64_t end = std::min(received_, bounds.end);
    // A message whose part was released or replaced meanwhile may have taken bytes behind this head already.
    const std::uint64_t count = end > consumed_ ? end - consumed_ : 0;
    if (count == 0) {
        if (bounds.exceeded != nullptr) {
            throw std::runtime_error(bounds.exceeded);
        }
        part.offer_until_overflow(range.begin, range.end, link);
    }
    part.append_head(range.begin, range.begin + count, link, start);
    return count;
}

std::uint32_t message_base::sole_request_head_size() const
{
    if (offsets_.req_hdr == 0) {
        throw std::runtime_error("invalid request header");
    }
    if (offsets_.null_body != 0) {
        return offsets_.null_body_offset - offsets_.req_hdr_offset;
    }
    if (offsets_.req_body != 0) {
        return offsets_.req_body_offset - offsets_.req_hdr_offset;
    }
    throw std::runtime_error("invalid request body");
}

std::uint32_t message_base::leading_request_head_size() const
{
    if (offsets_.req_hdr == 0) {
        throw std::runtime_error("invalid request header");
    }
    if (offsets_.res_hdr == 0) {
        throw std::runtime_error("invalid response header");
    }
    return offsets_.res_hdr_offset - offsets_.req_hdr_offset;
}

std::uint32_t message_base::response_head_size() const
{
    if (offsets_.res_hdr == 0) {
        throw std::runtime_error("invalid response header");
    }
    if (offsets_.null_body != 0) {
        return offsets_.null_body_offset - offsets_.res_hdr_offset;
    }
    if (offsets_.res_body != 0) {
        return offsets_.res_body_offset - offsets_.res_hdr_offset;
    }
    throw std::runtime_error("invalid response body");
}

} // namespace icap
