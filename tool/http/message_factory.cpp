#include "tool/http/message_factory.h"

#include "tool/web/body_store.h"

#include <stdexcept>
#include <utility>

namespace http {

namespace {

/// Chunked framing does not specify the length ahead, so the payload needs a store that can grow.
std::unique_ptr<web::io_data> make_store(const message_plan& plan)
{
    return web::make_body_store(plan.chunked ? unknown_length : plan.content_length);
}

std::unique_ptr<generic_message> make_plain(const message_plan& plan)
{
    byte_vector head(plan.head_begin, plan.head_end);
    const char* const begin = head.data();
    if (plan.type == type_request) {
        auto store = make_store(plan);
        request_data record = *plan.request;
        move_text(record, plan.head_begin, begin);
        return std::make_unique<request_message>(std::move(head), record, plan.content_length, std::move(store));
    }
    if (plan.type == type_response) {
        auto store = make_store(plan);
        response_data record;
        if (plan.response != nullptr) {
            record = *plan.response;
            move_text(record, plan.head_begin, begin);
        } else {
            parse_http_response(begin, begin + head.size(), record);
        }
        return std::make_unique<response_message>(std::move(head), record, plan.content_length, std::move(store),
                                                  plan.request_method);
    }
    throw std::runtime_error("http message type is undefined");
}

} // namespace

std::unique_ptr<message> make_message(const message_plan& plan)
{
    std::unique_ptr<generic_message> plain = make_plain(plan);
    if (plan.chunked) {
        return std::make_unique<chunked_message>(std::move(plain));
    }
    return plain;
}

} // namespace http
