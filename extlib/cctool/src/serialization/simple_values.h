#pragma once

#include "extlib/cctool/src/serialization/value.h"

#include <string>
#include <utility>
#include <vector>

namespace cctool::Serialization::StlDTree::detail {

template <typename T>
inline constexpr TypeCode type_code_of{};
template <>
inline constexpr TypeCode type_code_of<std::int8_t> = TypeCode::Signed8;
template <>
inline constexpr TypeCode type_code_of<std::uint8_t> = TypeCode::Unsigned8;
template <>
inline constexpr TypeCode type_code_of<std::int16_t> = TypeCode::Signed16;
template <>
inline constexpr TypeCode type_code_of<std::uint16_t> = TypeCode::Unsigned16;
template <>
inline constexpr TypeCode type_code_of<std::int32_t> = TypeCode::Signed32;
template <>
inline constexpr TypeCode type_code_of<std::uint32_t> = TypeCode::Unsigned32;
template <>
inline constexpr TypeCode type_code_of<std::int64_t> = TypeCode::Signed64;
template <>
inline constexpr TypeCode type_code_of<std::uint64_t> = TypeCode::Unsigned64;
template <>
inline constexpr TypeCode type_code_of<bool> = TypeCode::Bool;

/// An integer or a bool. A bool is one byte, which reads as true unless it is 0.
template <typename T>
class SimpleValueImpl final : public Value
{
public:
    static constexpr TypeCode type = type_code_of<T>;

    explicit SimpleValueImpl(T value = {}) noexcept
        : value_(value)
    {}
    [[nodiscard]] T Get() const noexcept { return value_; }

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override { return sizeof(Stored); }
    [[nodiscard]] bool Serialize(Writer& writer) const override { return writer.Write(static_cast<Stored>(value_)); }
    [[nodiscard]] bool Deserialize(Reader& reader) override
    {
        Stored stored{};
        if (!reader.Read(stored)) {
            return false;
        }
        value_ = static_cast<T>(stored);
        return true;
    }

private:
    using Stored = std::conditional_t<std::is_same_v<T, bool>, std::uint8_t, T>;
    T value_;
};

/// Text in the form of the blob: bytes for char, 16-bit units for wchar_t, regardless of the width of wchar_t on this
/// system. Where wchar_t is wider, a code point of more than 16 bits is stored as its two surrogates, and two such
/// surrogates are returned as one code point; an unpaired surrogate is not changed.
template <typename Char>
class StringValueImpl final : public Value
{
public:
    static constexpr TypeCode type = std::is_same_v<Char, char> ? TypeCode::NarrowString : TypeCode::WideString;
    using Units = std::conditional_t<std::is_same_v<Char, char>, std::string, std::u16string>;

    StringValueImpl() = default;
    explicit StringValueImpl(const std::basic_string<Char>& text);
    [[nodiscard]] std::basic_string<Char> Get() const;

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    Units units_;
};

extern template class StringValueImpl<char>;
extern template class StringValueImpl<wchar_t>;

/// Bytes.
class BinaryValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Binary;

    BinaryValue() = default;
    explicit BinaryValue(std::vector<std::uint8_t> bytes) noexcept
        : bytes_(std::move(bytes))
    {}
    [[nodiscard]] const std::vector<std::uint8_t>& Get() const noexcept { return bytes_; }

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace cctool::Serialization::StlDTree::detail
