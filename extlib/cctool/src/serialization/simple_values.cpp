#include "extlib/cctool/src/serialization/simple_values.h"

#include "extlib/cctool/src/serialization/wide_text.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <cstring>

namespace cctool::Serialization::StlDTree::detail {

namespace {

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
    return WideTextOf(units_.Begin(), units_.Count());
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
