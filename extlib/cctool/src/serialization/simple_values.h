#pragma once

#include "extlib/cctool/src/serialization/arena.h"
#include "extlib/cctool/src/serialization/value.h"

#include <string>
#include <type_traits>
#include <vector>

namespace cctool::Serialization::StlDTree::detail {

/// An integer or a bool. A bool is one byte, which reads as true unless it is 0.
template <typename T>
class SimpleValueImpl final : public Value
{
public:
    static constexpr TypeCode type = type_code_of<T>;

    explicit SimpleValueImpl(Arena& /*arena*/, T value = {}) noexcept
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

/// Units of one size behind their number, kept as the bytes of the blob.
class CountedUnits
{
public:
    CountedUnits(Arena& arena, std::size_t unit_size) noexcept
        : arena_(arena)
        , unit_size_(unit_size)
    {}

    /// Replaces the contents by `count` units, which the caller writes to the returned memory.
    [[nodiscard]] std::uint8_t* Make(std::size_t count);
    [[nodiscard]] const std::uint8_t* Begin() const noexcept { return bytes_; }
    [[nodiscard]] std::size_t Count() const noexcept { return count_; }

    [[nodiscard]] std::size_t SerializedSize() const noexcept;
    [[nodiscard]] bool Serialize(Writer& writer) const noexcept;
    [[nodiscard]] bool Deserialize(Reader& reader);

private:
    Arena& arena_;
    std::size_t unit_size_;
    const std::uint8_t* bytes_ = nullptr;
    std::size_t count_ = 0;
};

/// Text in the form of the blob: bytes for char, 16-bit units for wchar_t, regardless of the width of wchar_t on this
/// system. Where wchar_t is wider, a code point of more than 16 bits is stored as its two surrogates, and two such
/// surrogates are returned as one code point; an unpaired surrogate is not changed.
template <typename Char>
class StringValueImpl final : public Value
{
public:
    static constexpr TypeCode type = std::is_same_v<Char, char> ? TypeCode::NarrowString : TypeCode::WideString;

    explicit StringValueImpl(Arena& arena) noexcept
        : units_(arena, std::is_same_v<Char, char> ? 1 : 2)
    {}
    StringValueImpl(Arena& arena, const std::basic_string<Char>& text);
    [[nodiscard]] std::basic_string<Char> Get() const;

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override { return units_.SerializedSize(); }
    [[nodiscard]] bool Serialize(Writer& writer) const override { return units_.Serialize(writer); }
    [[nodiscard]] bool Deserialize(Reader& reader) override { return units_.Deserialize(reader); }

private:
    CountedUnits units_;
};

template <>
StringValueImpl<char>::StringValueImpl(Arena& arena, const std::string& text);
template <>
std::string StringValueImpl<char>::Get() const;
template <>
StringValueImpl<wchar_t>::StringValueImpl(Arena& arena, const std::wstring& text);
template <>
std::wstring StringValueImpl<wchar_t>::Get() const;

/// Bytes.
class BinaryValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Binary;

    explicit BinaryValue(Arena& arena) noexcept
        : units_(arena, 1)
    {}
    BinaryValue(Arena& arena, const std::vector<std::uint8_t>& bytes);
    [[nodiscard]] std::vector<std::uint8_t> Get() const;

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override { return units_.SerializedSize(); }
    [[nodiscard]] bool Serialize(Writer& writer) const override { return units_.Serialize(writer); }
    [[nodiscard]] bool Deserialize(Reader& reader) override { return units_.Deserialize(reader); }

private:
    CountedUnits units_;
};

} // namespace cctool::Serialization::StlDTree::detail
