#include "logging/line_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <locale>

namespace logging {

namespace {

constexpr std::size_t longest_number = 24;

} // namespace

std::string_view line_text::view() const noexcept
{
    if (stream_) {
        return stream_->view();
    }
    return whole_.empty() ? std::string_view(start_.data(), size_) : std::string_view(whole_);
}

line_text& line_text::operator<<(std::string_view text)
{
    if (stream_) {
        *stream_ << text;
    } else if (!whole_.empty()) {
        whole_ += text;
    } else if (text.size() <= start_.size() - size_) {
        std::copy(text.begin(), text.end(), start_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += text.size();
    } else {
        whole_.reserve(2 * (size_ + text.size()));
        whole_.assign(start_.data(), size_).append(text);
    }
    return *this;
}

line_text& line_text::operator<<(char letter)
{
    if (stream_) {
        *stream_ << letter; // in the width that a manipulator specified
        return *this;
    }
    return *this << std::string_view(&letter, 1);
}

line_text& line_text::operator<<(bool value)
{
    if (stream_) {
        *stream_ << value;
        return *this;
    }
    return *this << (value ? '1' : '0');
}

line_text& line_text::operator<<(std::ios_base& (*manipulator)(std::ios_base&))
{
    stream() << manipulator;
    return *this;
}

line_text& line_text::add_signed(long long value)
{
    std::array<char, longest_number> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return *this << std::string_view(digits.data(), end.ptr);
}

line_text& line_text::add_unsigned(unsigned long long value)
{
    std::array<char, longest_number> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return *this << std::string_view(digits.data(), end.ptr);
}

line_text& line_text::add_address(const void* address)
{
    if (stream_) {
        *stream_ << address;
        return *this;
    }
    if (address == nullptr) {
        return *this << '0';
    }
    std::array<char, longest_number> digits{'0', 'x'};
    const auto end =
        std::to_chars(digits.data() + 2, digits.data() + digits.size(), reinterpret_cast<std::uintptr_t>(address), 16);
    return *this << std::string_view(digits.data(), end.ptr);
}

std::ostream& line_text::stream()
{
    if (!stream_) {
        auto made = std::make_unique<std::ostringstream>();
        made->imbue(std::locale::classic());
        *made << view();
        stream_ = std::move(made);
    }
    return *stream_;
}

} // namespace logging
