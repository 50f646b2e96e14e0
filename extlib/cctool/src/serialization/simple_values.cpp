#include "extlib/cctool/src/serialization/simple_values.h"

namespace cctool::Serialization::StlDTree::detail {

namespace {

constexpr std::size_t length_size = sizeof(std::uint64_t);

constexpr char32_t first_beyond_units = 0x10000;
constexpr char32_t last_code_point = 0x10FFFF;
constexpr char16_t replacement = 0xFFFD;
constexpr char16_t high_surrogate = 0xD800;
constexpr char16_t low_surrogate = 0xDC00;
constexpr char32_t surrogate_mask = 0xFC00;
constexpr std::uint32_t half_bits = 10;
constexpr char32_t half_mask = (1U << half_bits) - 1;

bool IsSurrogate(char16_t unit, char16_t half) noexcept
{
    return (unit & surrogate_mask) == half;
}

const std::string& UnitsOf(const std::string& text) noexcept
{
    return text;
}

const std::string& TextOf(const std::string& units) noexcept
{
    return units;
}

std::u16string UnitsOf(const std::wstring& text)
{
    std::u16string units;
    units.reserve(text.size());
    for (const wchar_t c : text) {
        const auto code = static_cast<char32_t>(c);
        if (code < first_beyond_units) {
            units.push_back(static_cast<char16_t>(code));
        } else if (code <= last_code_point) {
            const char32_t beyond = code - first_beyond_units;
            units.push_back(static_cast<char16_t>(high_surrogate | (beyond >> half_bits)));
            units.push_back(static_cast<char16_t>(low_surrogate | (beyond & half_mask)));
        } else {
            units.push_back(replacement);
        }
    }
    return units;
}

std::wstring TextOf(const std::u16string& units)
{
    if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
        return {units.begin(), units.end()};
    }
    std::wstring text;
    text.reserve(units.size());
    for (std::size_t place = 0; place < units.size(); ++place) {
        const char16_t unit = units[place];
        if (IsSurrogate(unit, high_surrogate) && place + 1 < units.size() &&
            IsSurrogate(units[place + 1], low_surrogate)) {
            ++place;
            text.push_back(static_cast<wchar_t>(first_beyond_units + ((unit & half_mask) << half_bits) +
                                                (units[place] & half_mask)));
        } else {
            text.push_back(static_cast<wchar_t>(unit));
        }
    }
    return text;
}

/// Reads a length in units of `unit_size` bytes and skips that many units. Memory is allocated only after this, so that
/// a length which the data cannot fill costs none.
const std::uint8_t* TakeCounted(Reader& reader, std::size_t unit_size, std::size_t& count) noexcept
{
    std::uint64_t length = 0;
    if (!reader.Read(length) || length > reader.Left() / unit_size) {
        return nullptr;
    }
    count = static_cast<std::size_t>(length);
    return reader.Take(length * unit_size);
}

} // namespace

template <typename Char>
StringValueImpl<Char>::StringValueImpl(const std::basic_string<Char>& text)
    : units_(UnitsOf(text))
{}

template <typename Char>
std::basic_string<Char> StringValueImpl<Char>::Get() const
{
    return TextOf(units_);
}

template <typename Char>
std::size_t StringValueImpl<Char>::SerializedSize() const
{
    return length_size + units_.size() * sizeof(typename Units::value_type);
}

template <typename Char>
bool StringValueImpl<Char>::Serialize(Writer& writer) const
{
    if (!writer.Write(std::uint64_t{units_.size()})) {
        return false;
    }
    if constexpr (sizeof(typename Units::value_type) == 1) {
        return writer.WriteBytes(units_.data(), units_.size());
    } else {
        for (const auto unit : units_) {
            if (!writer.Write(static_cast<std::uint16_t>(unit))) {
                return false;
            }
        }
        return true;
    }
}

template <typename Char>
bool StringValueImpl<Char>::Deserialize(Reader& reader)
{
    using Unit = typename Units::value_type;
    std::size_t count = 0;
    const std::uint8_t* bytes = TakeCounted(reader, sizeof(Unit), count);
    if (bytes == nullptr) {
        return false;
    }
    Units units(count, Unit{});
    for (std::size_t place = 0; place < count; ++place) {
        if constexpr (sizeof(Unit) == 1) {
            units[place] = static_cast<Unit>(bytes[place]);
        } else {
            units[place] = static_cast<Unit>((bytes[2 * place] << 8U) | bytes[2 * place + 1]);
        }
    }
    units_.swap(units);
    return true;
}

template class StringValueImpl<char>;
template class StringValueImpl<wchar_t>;

std::size_t BinaryValue::SerializedSize() const
{
    return length_size + bytes_.size();
}

bool BinaryValue::Serialize(Writer& writer) const
{
    return writer.Write(std::uint64_t{bytes_.size()}) && writer.WriteBytes(bytes_.data(), bytes_.size());
}

bool BinaryValue::Deserialize(Reader& reader)
{
    std::size_t count = 0;
    const std::uint8_t* bytes = TakeCounted(reader, 1, count);
    if (bytes == nullptr) {
        return false;
    }
    bytes_ = std::vector<std::uint8_t>(bytes, bytes + count);
    return true;
}

} // namespace cctool::Serialization::StlDTree::detail
