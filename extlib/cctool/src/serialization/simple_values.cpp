#include "extlib/cctool/src/serialization/simple_values.h"

#include "tool/system/utf.h"

#include <algorithm>
#include <cstring>

namespace cctool::Serialization::StlDTree::detail {

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

std::wstring WideText(const std::uint8_t* bytes, std::size_t count)
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

/// Any integers that are units of UTF-16.
template <typename Text>
void StoreUnits(const Text& text, CountedUnits& stored)
{
    std::uint8_t* next = stored.Make(text.size());
    for (const auto unit : text) {
        const std::uint16_t bits = BigEndian(static_cast<std::uint16_t>(unit));
        std::memcpy(next, &bits, sizeof bits);
        next += sizeof bits;
    }
}

} // namespace

std::uint8_t* CountedUnits::Make(std::size_t count)
{
    auto* const made = arena_.MakeRoom<std::uint8_t>(count * unit_size_);
    bytes_ = made;
    count_ = count;
    return made;
}

std::size_t CountedUnits::SerializedSize() const noexcept
{
    return sizeof(std::uint64_t) + count_ * unit_size_;
}

bool CountedUnits::Serialize(Writer& writer) const noexcept
{
    return writer.Write(std::uint64_t{count_}) && writer.WriteBytes(bytes_, count_ * unit_size_);
}

// Memory is allocated only behind the check of the length, so that a length which the data cannot fill costs none.
bool CountedUnits::Deserialize(Reader& reader)
{
    std::uint64_t count = 0;
    if (!reader.Read(count) || count > reader.Left() / unit_size_) {
        return false;
    }
    const auto size = static_cast<std::size_t>(count) * unit_size_;
    const std::uint8_t* const bytes = reader.Take(size);
    std::copy_n(bytes, size, Make(static_cast<std::size_t>(count)));
    return true;
}

template <>
StringValueImpl<char>::StringValueImpl(Arena& arena, const std::string& text)
    : StringValueImpl(arena)
{
    std::copy(text.begin(), text.end(), units_.Make(text.size()));
}

template <>
std::string StringValueImpl<char>::Get() const
{
    return {units_.Begin(), units_.Begin() + units_.Count()};
}

template <>
StringValueImpl<wchar_t>::StringValueImpl(Arena& arena, const std::wstring& text)
    : StringValueImpl(arena)
{
    const auto is_one_unit = [](wchar_t character) {
        return static_cast<char32_t>(character) < winapi::utf::first_of_two_units;
    };
    if (std::all_of(text.begin(), text.end(), is_one_unit)) {
        StoreUnits(text, units_);
    } else {
        StoreUnits(winapi::utf::to_utf16(text), units_);
    }
}

template <>
std::wstring StringValueImpl<wchar_t>::Get() const
{
    return WideText(units_.Begin(), units_.Count());
}

BinaryValue::BinaryValue(Arena& arena, const std::vector<std::uint8_t>& bytes)
    : BinaryValue(arena)
{
    std::copy(bytes.begin(), bytes.end(), units_.Make(bytes.size()));
}

std::vector<std::uint8_t> BinaryValue::Get() const
{
    return {units_.Begin(), units_.Begin() + units_.Count()};
}

} // namespace cctool::Serialization::StlDTree::detail
