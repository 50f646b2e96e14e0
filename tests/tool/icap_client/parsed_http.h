#pragma once

#include "tool/http/analyzer.h"
#include "tool/http/message.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace test {

/// Returns the HTTP message of a text.
inline std::unique_ptr<http::message> http_message(const std::string& text)
{
    http::analyzer analyzer;
    analyzer.enqueue(text.data(), text.data() + text.size());
    auto message = analyzer.extract();
    if (!message) {
        throw std::runtime_error("the text is no HTTP message");
    }
    return message;
}

} // namespace test
