#include "tool/system/errors.h"

#include "tool/system/conversions.h"
#include "tool/system/system_message.h"

namespace {

std::string source_and_code(std::uint32_t code, std::string_view path, int line)
{
    std::string text = "winapi error occured at source ";
    text.append(path).append("(").append(std::to_string(line)).append(")");
    text.append(": error code ").append(std::to_string(code));
    return text;
}

std::string with_optional(std::string text, std::string_view optional)
{
    if (!optional.empty()) {
        text.append(", ").append(optional);
    }
    return text;
}

std::string source_and_result(std::string_view text, HRESULT result, std::string_view path, int line)
{
    std::string whole(path);
    whole.append("(").append(std::to_string(line)).append("): error ");
    whole.append(winapi::hex32(static_cast<std::uint32_t>(result))).append(": ").append(text);
    return whole;
}

} // namespace

namespace error {

win32exception::win32exception(std::uint32_t code, std::string_view path, int line, std::string_view text)
    : std::runtime_error(with_optional(source_and_code(code, path, line), text))
    , code_(code)
    , line_(line)
{}

HresultException::HresultException(std::string_view text, HRESULT result, std::string_view path, int line)
    : std::runtime_error(source_and_result(text, result, path, line))
    , result_(result)
    , line_(line)
{}

} // namespace error

namespace winapi {

last_error::last_error(std::uint32_t code, int line, std::string_view path)
    : std::runtime_error(source_and_code(code, path, line))
    , code_(code)
    , line_(line)
{}

} // namespace winapi

namespace cache {

win32_error::win32_error(std::string_view text, std::uint32_t code, int line)
    : std::runtime_error(std::string(text) + winapi::system_message(code))
    , code_(code)
    , line_(line)
{}

} // namespace cache
