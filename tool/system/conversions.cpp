#include "tool/system/conversions.h"

#include "tool/system/ascii.h"
#include "tool/system/code_page_codec.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <stdexcept>

namespace winapi {

namespace {

std::atomic<std::uint32_t> ansi_override{0};

std::uint32_t real_code_page(std::uint32_t code_page) noexcept
{
    if (code_page != code_page_ansi && code_page != code_page_thread_ansi) {
        return code_page;
    }
    const std::uint32_t chosen = ansi_override.load(std::memory_order_relaxed);
    if (chosen != 0) {
        return chosen;
    }
    return code_page == code_page_ansi ? codec::system_ansi_code_page() : codec::thread_ansi_code_page();
}

int lower_byte(char letter) noexcept
{
    return static_cast<unsigned char>(ascii_lower(letter));
}

} // namespace

std::string conv_to_char(std::wstring_view text, std::uint32_t code_page)
{
    if (text.empty()) {
        return {};
    }
    auto narrow = codec::encode(text, real_code_page(code_page));
    if (!narrow) {
        throw std::runtime_error("conv_to_char called wcstombs() and failed.");
    }
    return *std::move(narrow);
}

std::wstring conv_to_wide(std::string_view text, std::uint32_t code_page)
{
    if (text.empty()) {
        return {};
    }
    auto wide = codec::decode(text, real_code_page(code_page));
    if (!wide) {
        throw std::runtime_error("conv_to_wide called mbstowcs() and failed.");
    }
    return *std::move(wide);
}

std::uint32_t ansi_code_page() noexcept
{
    const std::uint32_t chosen = ansi_override.load(std::memory_order_relaxed);
    return chosen != 0 ? chosen : codec::system_ansi_code_page();
}

std::uint32_t ansi_code_page(std::uint32_t code_page) noexcept
{
    const std::uint32_t before = ansi_code_page();
    ansi_override.store(code_page, std::memory_order_relaxed);
    return before;
}

std::uint32_t eight_bit_code_page(std::uint32_t code_page) noexcept
{
    switch (code_page) {
    case 20127: // US-ASCII
    case 65000: // UTF-7
        return 0;
    case 50220: // ISO-2022-JP and its variants
    case 50221:
    case 50222:
        return 932;
    case 50225: // ISO-2022-KR
        return 949;
    case 50227: // ISO-2022-CN
    case 52936: // HZ
        return 936;
    case 50229: // ISO-2022-CN, traditional
        return 950;
    default:
        return code_page;
    }
}

std::string to_hex(std::uint64_t value)
{
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return std::string(digits.data(), end.ptr);
}

int compare_no_case(std::string_view left, std::string_view right) noexcept
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const int difference = lower_byte(left[i]) - lower_byte(right[i]);
        if (difference != 0) {
            return difference;
        }
    }
    if (left.size() == right.size()) {
        return 0;
    }
    return left.size() < right.size() ? -1 : 1;
}

std::string hex32(std::uint32_t value)
{
    return to_hex(value);
}

} // namespace winapi
