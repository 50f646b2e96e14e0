#pragma once

#include "tool/icap/response_message.h"

#include <memory>
#include <string>
#include <utility>

namespace service {

/// A response: a message, which may refer to the request that it answers, or the bytes of a whole one.
class reply
{
public:
    /// No response.
    reply() = default;
    reply(std::unique_ptr<icap::response_message> message) // NOLINT(google-explicit-constructor): a message is a reply
        : message_(std::move(message))
    {}
    /// `bytes` are those of a response without a body.
    explicit reply(std::shared_ptr<const std::string> bytes)
        : bytes_(std::move(bytes))
    {}

    explicit operator bool() const noexcept { return message_ || bytes_; }
    /// Returns the message; null if the response consists of bytes.
    [[nodiscard]] icap::response_message* message() const noexcept { return message_.get(); }
    /// Returns the bytes; null if the response is a message.
    [[nodiscard]] const std::string* bytes() const noexcept { return bytes_.get(); }

private:
    std::unique_ptr<icap::response_message> message_;
    std::shared_ptr<const std::string> bytes_;
};

} // namespace service
