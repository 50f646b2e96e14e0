#include "extlib/cctool/src/serialization/wide_text.h"

#include "cctool/serialization/blob_reader.h"
#include "tool/system/utf.h"

#include <cstring>

namespace cctool::Serialization {

namespace StlDTree::detail {

namespace {

constexpr std::size_t unit_size = sizeof(char16_t);
/// Units that are converted at a time, in a loop that the compiler unrolls or vectorises.
constexpr std::size_t block_size = 8;

bool IsSurrogate(std::uint16_t unit) noexcept
{
    return (unit & 0xF800U) == 0xD800U;
}

/// Converts `count` units to characters. Returns true if one of them is a surrogate.
template <std::size_t count>
bool Widen(const std::uint8_t* bytes, wchar_t* text) noexcept
{
    std::uint16_t units[count];
    std::memcpy(units, bytes, sizeof units);
    unsigned surrogates = 0;
    for (std::size_t place = 0; place < count; ++place) {
        const std::uint16_t unit = BigEndian(units[place]);
        surrogates |= static_cast<unsigned>(IsSurrogate(unit));
        text[place] = static_cast<wchar_t>(unit);
    }
    return surrogates != 0;
}

} // namespace

std::wstring WideTextOf(const std::uint8_t* bytes, std::size_t count)
{
    std::wstring text(count, L'\0');
    bool surrogates = false;
    std::size_t place = 0;
    for (; count - place >= block_size; place += block_size) {
        surrogates |= Widen<block_size>(bytes + place * unit_size, text.data() + place);
    }
    for (; place < count; ++place) {
        surrogates |= Widen<1>(bytes + place * unit_size, text.data() + place);
    }
    if (surrogates && sizeof(wchar_t) > unit_size) {
        return winapi::utf::from_utf16(std::u16string(text.begin(), text.end()));
    }
    return text;
}

} // namespace StlDTree::detail

bool BlobReader::Read(std::wstring& text)
{
    std::uint64_t count = 0;
    if (!IsNext(StlDTree::detail::TypeCode::WideString) || !reader_.Read(count) ||
        count > reader_.Left() / sizeof(char16_t)) {
        return false;
    }
    text = StlDTree::detail::WideTextOf(reader_.Take(count * sizeof(char16_t)), static_cast<std::size_t>(count));
    return true;
}

} // namespace cctool::Serialization
