#include "tool/system/code_page_codec.h"

#include <windows.h>

#include <limits>

namespace winapi::codec {

namespace {

constexpr std::size_t largest = static_cast<std::size_t>(std::numeric_limits<int>::max());

} // namespace

std::optional<std::string> encode(std::wstring_view text, std::uint32_t code_page)
{
    if (text.size() > largest) {
        return std::nullopt;
    }
    const int count = static_cast<int>(text.size());
    const int needed = ::WideCharToMultiByte(code_page, 0, text.data(), count, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return std::nullopt;
    }
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    if (::WideCharToMultiByte(code_page, 0, text.data(), count, narrow.data(), needed, nullptr, nullptr) != needed) {
        return std::nullopt;
    }
    return narrow;
}

std::optional<std::wstring> decode(std::string_view text, std::uint32_t code_page)
{
    if (text.size() > largest) {
        return std::nullopt;
    }
    const int count = static_cast<int>(text.size());
    const int needed = ::MultiByteToWideChar(code_page, 0, text.data(), count, nullptr, 0);
    if (needed <= 0) {
        return std::nullopt;
    }
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    if (::MultiByteToWideChar(code_page, 0, text.data(), count, wide.data(), needed) != needed) {
        return std::nullopt;
    }
    return wide;
}

std::uint32_t system_ansi_code_page() noexcept
{
    return ::GetACP();
}

std::uint32_t thread_ansi_code_page() noexcept
{
    return CP_THREAD_ACP;
}

} // namespace winapi::codec
