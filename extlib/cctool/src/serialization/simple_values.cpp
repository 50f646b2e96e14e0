#include "extlib/cctool/src/serialization/simple_values.h"

#include "tool/system/utf.h"

namespace cctool::Serialization::StlDTree::detail {

namespace {

constexpr std::size_t length_size = sizeof(std::uint64_t);

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
    return winapi::utf::to_utf16(text);
}

std::wstring TextOf(const std::u16string& units)
{
    return winapi::utf::from_utf16(units);
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
