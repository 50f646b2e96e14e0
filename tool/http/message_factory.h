#pragma once

#include "tool/http/grammar.h"
#include "tool/http/messages.h"

#include <cstdint>
#include <memory>

namespace http {

/// The properties that an analyzer knows of a message before the message is made.
struct message_plan
{
    std::uint32_t type = 0;                  ///< type_request or type_response
    const char* head_begin = nullptr;        ///< not owned; used during make_message() only
    const char* head_end = nullptr;          ///< behind the last byte of the head
    const request_data* request = nullptr;   ///< requests: the record of the head, whose ranges point into it
    const response_data* response = nullptr; ///< responses: the same; null if the head has not ended
    std::uint64_t content_length = 0;        ///< bytes, or unknown_length
    bool chunked = false;                    ///< the body arrives in HTTP's chunked framing
    std::uint32_t request_method = 0;        ///< responses: method_id of the request, 0 if unknown
};

/// Makes a message with its own copy of the head and of its record and an empty body store, wrapped in a
/// chunked_message if `plan.chunked`. The caller owns it. Throws std::runtime_error "http message type is undefined"
/// for another type, and what the store throws.
[[nodiscard]] std::unique_ptr<message> make_message(const message_plan& plan);

} // namespace http
