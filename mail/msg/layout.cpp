#include "mail/msg/layout.h"

#include <charconv>
#include <cstring>

namespace host::msg {

namespace {

constexpr std::size_t digits = 8;

std::string hex(std::uint32_t number)
{
    static constexpr std::string_view letters = "0123456789ABCDEF";
    std::string result(digits, '0');
    for (std::size_t i = digits; number != 0; number >>= 4U) {
        result[--i] = letters[number & 0xFU];
    }
    return result;
}

} // namespace

std::string value_name(std::uint32_t tag)
{
    return "__substg1.0_" + hex(tag);
}

std::string element_name(std::uint32_t tag, std::uint32_t index)
{
    return value_name(tag) + "-" + hex(index);
}

std::string numbered_name(std::string_view prefix, std::uint32_t number)
{
    return std::string(prefix) + hex(number);
}

std::optional<std::uint32_t> number_of(std::string_view name, std::string_view prefix)
{
    if (name.size() != prefix.size() + digits || folded(name.substr(0, prefix.size())) != folded(prefix)) {
        return {};
    }
    std::uint32_t number = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, problem] = std::from_chars(name.data() + prefix.size(), end, number, 16);
    return problem == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string folded(std::string_view name)
{
    std::string result(name);
    for (char& letter : result) {
        if (letter >= 'a' && letter <= 'z') {
            letter = static_cast<char>(letter - ('a' - 'A'));
        }
    }
    return result;
}

std::size_t header_size(object_kind kind)
{
    switch (kind) {
    case object_kind::message:
        return 32;
    case object_kind::embedded:
        return 24;
    default:
        return 8;
    }
}

value_form form_of(std::uint32_t type)
{
    switch (type) {
    case PT_NULL:
    case PT_I2:
    case PT_LONG:
    case PT_R4:
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_ERROR:
    case PT_BOOLEAN:
    case PT_I8:
    case PT_SYSTIME:
        return value_form::in_entry;
    case PT_STRING8:
    case PT_UNICODE:
    case PT_CLSID:
    case PT_BINARY:
        return value_form::in_stream;
    case PT_OBJECT:
        return value_form::in_storage;
    case PT_STRING8 | MV_FLAG:
    case PT_UNICODE | MV_FLAG:
    case PT_BINARY | MV_FLAG:
        return value_form::list_of_streams;
    default:
        return (type & MV_FLAG) != 0 && width_of(type) != 0 ? value_form::list_in_stream : value_form::unknown;
    }
}

std::size_t width_of(std::uint32_t type)
{
    switch (type & ~std::uint32_t{MV_FLAG}) {
    case PT_I2:
    case PT_BOOLEAN:
        return 2;
    case PT_LONG:
    case PT_R4:
    case PT_ERROR:
        return 4;
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_I8:
    case PT_SYSTIME:
        return 8;
    case PT_CLSID:
        return 16;
    default:
        return 0;
    }
}

std::uint32_t u16_at(std::string_view data, std::size_t offset)
{
    return static_cast<unsigned char>(data[offset]) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(data[offset + 1])) << 8U;
}

std::uint32_t u32_at(std::string_view data, std::size_t offset)
{
    return u16_at(data, offset) | u16_at(data, offset + 2) << 16U;
}

void append_u32(std::string& target, std::uint32_t number)
{
    for (unsigned shift = 0; shift < 32; shift += 8) {
        target.push_back(static_cast<char>(number >> shift & 0xFFU));
    }
}

std::uint32_t u32_at(const property_entry& entry, std::size_t offset)
{
    return u32_at(std::string_view(entry.data(), entry.size()), offset);
}

void set_u32(property_entry& entry, std::size_t offset, std::uint32_t number)
{
    for (std::size_t i = 0; i < 4; ++i) {
        entry[offset + i] = static_cast<char>(number >> i * 8 & 0xFFU);
    }
}

std::uint32_t tag_of(const property_entry& entry)
{
    return u32_at(entry, 0);
}

GUID guid_at(std::string_view data, std::size_t offset)
{
    GUID result{};
    std::memcpy(&result, data.data() + offset, sizeof result);
    return result;
}

std::string bytes_of_guid(const GUID& guid)
{
    return {reinterpret_cast<const char*>(&guid), sizeof guid};
}

} // namespace host::msg
