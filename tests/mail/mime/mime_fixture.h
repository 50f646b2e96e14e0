#pragma once

#include "mail/mime/reading/message_reader.h"
#include "store/tags.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace host::test {

/// Returns the text with CRLF line ends.
inline std::string crlf(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result.push_back('\r');
        }
        result.push_back(c);
    }
    return result;
}

inline message_record read(std::string_view text, const std::string& origin = "test")
{
    return read_message(bytes_of(crlf(text)), origin, std::make_shared<store_context>());
}

inline std::wstring wide(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? value->wide() : L"(none)";
}

inline std::wstring wide(const message_record& message, std::uint32_t tag)
{
    return wide(*message.properties, tag);
}

inline std::int64_t number(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? value->number() : -1000;
}

inline std::int64_t number(const message_record& message, std::uint32_t tag)
{
    return number(*message.properties, tag);
}

inline std::string binary(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? to_string(*std::get<bytes_ptr>(value->data)) : "(none)";
}

inline std::string binary(const message_record& message, std::uint32_t tag)
{
    return binary(*message.properties, tag);
}

inline const property_bag& attachment(const message_record& message, std::uint32_t at)
{
    return *message.attachments.at(at).properties;
}

} // namespace host::test
