#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <ios>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace logging {

/// An integer that is formatted as a number.
template <typename Value>
concept plain_number =
    std::integral<Value> && !std::same_as<Value, bool> && sizeof(Value) > 1 && !std::same_as<Value, wchar_t> &&
    !std::same_as<Value, char16_t> && !std::same_as<Value, char32_t>;

/// The text of one line under construction. It contains what an output stream with the classic locale would contain.
/// Texts, integers and addresses are formatted without a stream and, up to `inline_size` characters, without the heap;
/// a manipulator or any other value makes a stream, which formats the rest of the line.
class line_text
{
public:
    static constexpr std::size_t inline_size = 256;

    line_text() noexcept = default;
    line_text(line_text&& other) noexcept = default;
    line_text(const line_text&) = delete;
    line_text& operator=(const line_text&) = delete;
    line_text& operator=(line_text&&) = delete;
    ~line_text() = default;

    [[nodiscard]] std::string_view view() const noexcept;

    line_text& operator<<(std::string_view text);
    line_text& operator<<(const std::string& text) { return *this << std::string_view(text); }
    line_text& operator<<(const char* text) { return *this << std::string_view(text == nullptr ? "" : text); }
    line_text& operator<<(char letter);
    line_text& operator<<(bool value);
    line_text& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
    template <plain_number Number>
    line_text& operator<<(Number value)
    {
        if (stream_) {
            *stream_ << value;
            return *this;
        }
        if constexpr (std::is_signed_v<Number>) {
            return add_signed(value);
        } else {
            return add_unsigned(value);
        }
    }
    template <typename Object>
    requires(!std::same_as<std::remove_cv_t<Object>, char> && !std::is_function_v<Object> &&
             !std::is_volatile_v<Object>) line_text&
    operator<<(Object* address)
    {
        return add_address(address);
    }
    template <typename Other>
    requires(!std::is_pointer_v<Other> && !plain_number<Other>) line_text& operator<<(const Other& value)
    {
        stream() << value;
        return *this;
    }

private:
    line_text& add_signed(long long value);
    line_text& add_unsigned(unsigned long long value);
    line_text& add_address(const void* address);
    std::ostream& stream();

    std::array<char, inline_size> start_;        ///< the line, if it fits
    std::size_t size_ = 0;                       ///< bytes of it
    std::string whole_;                          ///< the line, if it does not fit; otherwise empty
    std::unique_ptr<std::ostringstream> stream_; ///< contains the line once something else than text has been added
};

} // namespace logging
