#include "store/property_value.h"

#include "tool/system/conversions.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <utility>

namespace host {

namespace {

std::uint64_t width_of(std::uint32_t type)
{
    switch (type & ~MV_FLAG) {
    case PT_I2:
    case PT_BOOLEAN:
        return 2;
    case PT_LONG:
    case PT_R4:
    case PT_ERROR:
        return 4;
    case PT_CLSID:
        return 16;
    case PT_NULL:
    case PT_UNSPECIFIED:
        return 0;
    default:
        return 8;
    }
}

bytes_ptr without_last_byte(const bytes& data)
{
    scratch copy;
    std::array<char, 65536> block{};
    while (copy.size() + 1 < data.size()) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), data.size() - 1 - copy.size()));
        copy.append({block.data(), data.read(copy.size(), block.data(), wanted)});
    }
    return copy.freeze();
}

/// Returns the size of the zero that ends a value of a type.
std::uint64_t size_of_end(std::uint32_t type)
{
    return type == PT_UNICODE ? 2 : type == PT_STRING8 ? 1 : 0;
}

/// Calls `use` with the text of UTF-16LE bytes, in pieces that do not split a surrogate pair.
template <typename Use>
void for_each_piece(const bytes& utf16le, Use&& use)
{
    constexpr std::size_t piece_size = 65536;
    std::string piece;
    for (std::uint64_t offset = 0; offset + 1 < utf16le.size();) {
        piece.resize(piece_size);
        std::size_t size = utf16le.read(offset, piece.data(), piece.size()) & ~std::size_t{1};
        const auto last = [&] {
            return static_cast<char32_t>(static_cast<unsigned char>(piece[size - 2])) |
                   static_cast<char32_t>(static_cast<unsigned char>(piece[size - 1])) << 8U;
        };
        if (size > 2 && winapi::utf::is_high_surrogate(last())) {
            size -= 2; // the other half may follow
        }
        if (size == 0) {
            return;
        }
        piece.resize(size);
        use(from_utf16le(piece));
        offset += size;
    }
}

/// Returns the size of a text in UTF-16 with its terminating zero in bytes, independent of the platform's wchar_t.
std::uint64_t bytes_of_text(std::wstring_view text)
{
    const auto pairs = std::count_if(text.begin(), text.end(), [](wchar_t c) {
        const auto unit = static_cast<std::uint32_t>(c); // avoids a comparison that is constant for 16 bits
        return unit > 0xFFFFU;
    });
    return (text.size() + static_cast<std::uint64_t>(pairs) + 1) * 2;
}

struct measure
{
    std::uint32_t type;

    std::uint64_t operator()(std::monostate) const { return width_of(type); }
    std::uint64_t operator()(std::int64_t) const { return width_of(type); }
    std::uint64_t operator()(double) const { return width_of(type); }
    std::uint64_t operator()(const GUID&) const { return width_of(type); }
    std::uint64_t operator()(const property_value::text& text) const { return bytes_of_text(*text); }
    std::uint64_t operator()(const bytes_ptr& data) const { return data->size() + size_of_end(type); }
    std::uint64_t operator()(const std::vector<std::int64_t>& list) const { return list.size() * width_of(type); }
    std::uint64_t operator()(const std::vector<double>& list) const { return list.size() * width_of(type); }
    std::uint64_t operator()(const std::vector<GUID>& list) const { return list.size() * width_of(type); }
    std::uint64_t operator()(const storage_ptr& storage) const { return storage->size(); }
    std::uint64_t operator()(const std::vector<std::wstring>& list) const
    {
        std::uint64_t sum = 0;
        for (const auto& text : list) {
            sum += bytes_of_text(text);
        }
        return sum;
    }
    std::uint64_t operator()(const std::vector<std::string>& list) const
    {
        std::uint64_t sum = 0;
        for (const auto& text : list) {
            sum += text.size() + 1;
        }
        return sum;
    }
};

/// Compares two contents of the same kind.
struct equality
{
    const property_value::contents& right;

    bool operator()(std::monostate) const { return true; }
    bool operator()(double left) const { return same_bits(left, std::get<double>(right)); }
    bool operator()(const property_value::text& left) const
    {
        const auto& other = std::get<property_value::text>(right);
        return left == other || *left == *other;
    }
    bool operator()(const bytes_ptr& left) const { return same_bytes(left, std::get<bytes_ptr>(right)); }
    bool operator()(const std::vector<double>& left) const
    {
        const auto& other = std::get<std::vector<double>>(right);
        return std::equal(left.begin(), left.end(), other.begin(), other.end(), same_bits);
    }
    bool operator()(const storage_ptr& left) const { return same_storage(*left, *std::get<storage_ptr>(right)); }
    template <typename Plain>
    bool operator()(const Plain& left) const
    {
        return left == std::get<Plain>(right);
    }

private:
    static bool same_bits(double left, double right)
    {
        return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
    }
};

} // namespace

std::string to_utf16le(std::wstring_view text)
{
    std::string result;
    result.reserve(text.size() * 2);
    for (const char16_t unit : winapi::utf::to_utf16(text)) {
        result.push_back(static_cast<char>(unit & 0xFFU));
        result.push_back(static_cast<char>(unit >> 8U));
    }
    return result;
}

std::wstring from_utf16le(std::string_view data)
{
    std::u16string units;
    units.reserve(data.size() / 2);
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
        units.push_back(
            static_cast<char16_t>(static_cast<unsigned char>(data[i]) | static_cast<unsigned char>(data[i + 1]) << 8U));
    }
    return winapi::utf::from_utf16(units);
}

property_value property_value::of_long(std::int64_t number)
{
    return {PT_LONG, number};
}

property_value property_value::of_bool(bool flag)
{
    return {PT_BOOLEAN, std::int64_t{flag}};
}

property_value property_value::of_time(std::uint64_t file_time)
{
    return {PT_SYSTIME, static_cast<std::int64_t>(file_time)};
}

property_value property_value::of_text(std::wstring_view text)
{
    if (text.size() > longest_text / 2 && bytes_of_text(text) / 2 > longest_text + 1) {
        text_builder builder;
        builder.append(text);
        return builder.value();
    }
    return {PT_UNICODE, std::make_shared<const std::wstring>(text)};
}

property_value property_value::of_binary(bytes_ptr data)
{
    return {PT_BINARY, std::move(data)};
}

property_value property_value::of_error(std::int32_t code)
{
    return {PT_ERROR, std::int64_t{code}};
}

std::int64_t property_value::number() const
{
    const auto* value = std::get_if<std::int64_t>(&data);
    return value ? *value : 0;
}

std::wstring property_value::wide() const
{
    if (const auto* value = std::get_if<text>(&data)) {
        return **value;
    }
    if (type == PT_STRING8) {
        return winapi::conv_to_wide(to_string(*std::get<bytes_ptr>(data)), code_page);
    }
    if (type == PT_UNICODE) {
        std::wstring whole;
        for_each_piece(*std::get<bytes_ptr>(data), [&](const std::wstring& piece) { whole += piece; });
        return whole;
    }
    return {};
}

std::wstring_view property_value::wide_view(std::wstring& kept) const
{
    if (const auto* value = std::get_if<text>(&data)) {
        return **value;
    }
    kept = wide();
    return kept;
}

bytes_ptr property_value::narrow(std::uint32_t page) const
{
    if (const auto* whole = std::get_if<text>(&data)) {
        return bytes_of(winapi::conv_to_char(**whole, page));
    }
    if (type != PT_UNICODE || !std::holds_alternative<bytes_ptr>(data)) {
        return bytes_of(winapi::conv_to_char(wide(), page));
    }
    scratch result;
    for_each_piece(*std::get<bytes_ptr>(data),
                   [&](const std::wstring& piece) { result.append(winapi::conv_to_char(piece, page)); });
    return result.freeze();
}

void text_builder::append(std::wstring_view text)
{
    constexpr std::size_t piece_size = 65536;
    while (!text.empty()) {
        std::size_t size = std::min(piece_size, text.size());
        units_.append(to_utf16le(text.substr(0, size)));
        text.remove_prefix(size);
    }
}

property_value text_builder::value()
{
    return from_stream_bytes(PT_UNICODE, units_.freeze());
}

std::uint64_t property_value::size() const
{
    return std::visit(measure{type}, data);
}

bool same_value(const property_value& left, const property_value& right)
{
    return left.type == right.type && left.code_page == right.code_page && left.data.index() == right.data.index() &&
           std::visit(equality{right.data}, left.data);
}

bool is_string(std::uint32_t type)
{
    return type == PT_STRING8 || type == PT_UNICODE;
}

bool is_streamed(std::uint32_t type)
{
    return is_string(type) || type == PT_BINARY;
}

property_value convert_string(const property_value& value, std::uint32_t type, std::uint32_t code_page)
{
    if (value.type == type) {
        return value;
    }
    if (type == PT_UNICODE) {
        return property_value::of_text(value.wide());
    }
    return {PT_STRING8, value.narrow(code_page), code_page};
}

bytes_ptr stream_bytes(const property_value& value)
{
    if (const auto* text = std::get_if<property_value::text>(&value.data)) {
        return bytes_of(to_utf16le(**text));
    }
    return std::get<bytes_ptr>(value.data);
}

property_value from_stream_bytes(std::uint32_t type, const bytes_ptr& data)
{
    if (type != PT_UNICODE) {
        return {type, data};
    }
    if (data->size() / 2 <= property_value::longest_text) {
        return {PT_UNICODE, std::make_shared<const std::wstring>(from_utf16le(to_string(*data)))};
    }
    return {PT_UNICODE, data->size() % 2 == 0 ? data : without_last_byte(*data)};
}

} // namespace host
