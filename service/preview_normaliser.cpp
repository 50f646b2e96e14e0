#include "service/preview_normaliser.h"

#include <array>
#include <charconv>

namespace service {

namespace {

std::string hexadecimal(std::uint64_t value)
{
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return {digits.data(), end};
}

/// Returns true for a byte that may follow the size in a chunk line.
bool goes_on_in_chunk_line(char byte)
{
    return byte == '\r' || byte == '\n' || byte == ' ' || byte == '\t' || byte == ';';
}

} // namespace

preview_normaliser::preview_normaliser(std::uint64_t preview_size)
    : preview_size_(preview_size)
    , size_text_(hexadecimal(preview_size))
{}

preview_normaliser::form preview_normaliser::judge() const
{
    constexpr std::string_view end_mark = "\r\n0\r\n\r\n";
    const std::string_view held = held_;
    if (!held.starts_with(std::string_view(size_text_).substr(0, held.size()))) {
        return form::standard;
    }
    if (held.size() <= size_text_.size()) {
        return form::open;
    }
    if (!goes_on_in_chunk_line(held[size_text_.size()])) {
        return form::bare;
    }
    const std::uint64_t payload_end = size_text_.size() + preview_size_;
    if (held.size() <= payload_end) {
        return form::open;
    }
    const std::string_view behind = held.substr(static_cast<std::size_t>(payload_end)).substr(0, end_mark.size());
    if (behind != end_mark.substr(0, behind.size())) {
        return form::standard;
    }
    return behind.size() == end_mark.size() ? form::bare : form::open;
}

void preview_normaliser::feed(std::string_view piece, std::string& out)
{
    if (settled()) {
        out.append(piece);
        return;
    }
    held_.append(piece);
    form_ = judge();
    if (form_ == form::bare) {
        out.append(size_text_).append("\r\n").append(held_, size_text_.size(), std::string::npos);
    } else if (form_ == form::standard) {
        out.append(held_);
    } else {
        return;
    }
    held_.clear();
}

} // namespace service
