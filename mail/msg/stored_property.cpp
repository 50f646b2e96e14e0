#include "mail/msg/stored_property.h"

#include "store/unreadable_message.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace host::msg {

namespace {

constexpr std::uint64_t largest_value = 0x7FFFFFF0; ///< readers treat the 32-bit sizes as signed

template <typename Number>
Number number_at(std::string_view data, std::size_t offset)
{
    Number result{};
    std::memcpy(&result, data.data() + offset, sizeof result);
    return result;
}

template <typename Number>
void append(std::string& target, Number number)
{
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    target.append(raw, sizeof number);
}

bool is_real(std::uint32_t type)
{
    const std::uint32_t single = type & ~std::uint32_t{MV_FLAG};
    return single == PT_R4 || single == PT_DOUBLE || single == PT_APPTIME;
}

std::int64_t integer_at(std::string_view data, std::size_t offset, std::uint32_t type)
{
    switch (type & ~std::uint32_t{MV_FLAG}) {
    case PT_I2:
        return number_at<std::int16_t>(data, offset);
    case PT_BOOLEAN:
        return number_at<std::uint16_t>(data, offset) != 0 ? 1 : 0;
    case PT_LONG:
    case PT_ERROR:
        return number_at<std::int32_t>(data, offset);
    default:
        return number_at<std::int64_t>(data, offset);
    }
}

double real_at(std::string_view data, std::size_t offset, std::uint32_t type)
{
    return (type & ~std::uint32_t{MV_FLAG}) == PT_R4 ? double{number_at<float>(data, offset)}
                                                     : number_at<double>(data, offset);
}

void append_integer(std::string& target, std::int64_t number, std::uint32_t type)
{
    switch (width_of(type)) {
    case 2:
        append(target, static_cast<std::int16_t>(number));
        break;
    case 4:
        append(target, static_cast<std::int32_t>(number));
        break;
    default:
        append(target, number);
        break;
    }
}

void append_real(std::string& target, double number, std::uint32_t type)
{
    if ((type & ~std::uint32_t{MV_FLAG}) == PT_R4) {
        append(target, static_cast<float>(number));
    } else {
        append(target, number);
    }
}

/// Returns the text without the terminating zero that some writers add.
template <typename Text>
Text without_end(Text text)
{
    if (!text.empty() && text.back() == 0) {
        text.pop_back();
    }
    return text;
}

property_value decode_entry(const stored_property& stored)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    const std::string_view value(stored.entry.data() + entry_value, 8);
    if (type == PT_NULL) {
        return {PT_NULL, {}};
    }
    if (is_real(type)) {
        return {type, real_at(value, 0, type)};
    }
    return {type, integer_at(value, 0, type)};
}

/// Rejects values that a reader relying on the stored size and one relying on the stream would read differently.
void expect_size(const stored_property& stored, std::uint64_t size, std::uint64_t terminator)
{
    const std::uint32_t told = u32_at(stored.entry, entry_size);
    if (told < size || told > size + terminator) {
        refuse_property(stored.tag(), "has another size than it tells");
    }
}

/// Returns true if the last character of a text, of one or two bytes, is zero.
bool ends_in_zero(const bytes& text, std::size_t width)
{
    std::array<char, 2> last{'x', 'x'};
    return text.size() >= width && text.read(text.size() - width, last.data(), width) == width &&
           std::all_of(last.begin(), last.begin() + static_cast<std::ptrdiff_t>(width), [](char c) { return c == 0; });
}

bool is_seven_bit(std::string_view text)
{
    return std::none_of(text.begin(), text.end(),
                        [](char letter) { return static_cast<unsigned char>(letter) >= 0x80; });
}

/// Returns the code page of narrow texts, where `specified` is that of the message.
std::uint32_t page_of_texts(const std::vector<std::string>& texts, std::uint32_t specified)
{
    const std::uint32_t eight_bit = winapi::eight_bit_code_page(specified);
    return eight_bit == specified || std::all_of(texts.begin(), texts.end(), is_seven_bit) ? specified : eight_bit;
}

std::uint32_t page_of_text(const bytes& text, std::uint32_t specified)
{
    const bool is_plain = winapi::eight_bit_code_page(specified) == specified;
    return is_plain ? specified : page_of_texts({to_string(text)}, specified);
}

property_value decode_stream(const stored_property& stored, std::uint32_t code_page)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    const bytes_ptr& data = stored.streams.front().contents;
    switch (type) {
    case PT_UNICODE:
        expect_size(stored, data->size(), 2);
        return ends_in_zero(*data, 2) ? property_value::of_text(without_end(from_utf16le(to_string(*data))))
                                      : from_stream_bytes(type, data);
    case PT_STRING8:
        expect_size(stored, data->size(), 2);
        return {type, ends_in_zero(*data, 1) ? bytes_of(without_end(to_string(*data))) : data,
                page_of_text(*data, code_page)};
    case PT_CLSID:
        if (data->size() != sizeof(GUID)) {
            refuse_property(stored.tag(), "has another size than its kind");
        }
        return {type, guid_at(to_string(*data), 0)};
    default:
        expect_size(stored, data->size(), 0);
        return {type, data};
    }
}

property_value decode_list(const stored_property& stored)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    const std::string data = to_string(*stored.streams.front().contents);
    const std::size_t width = width_of(type);
    if (data.size() % width != 0) {
        refuse_property(stored.tag(), "has another size than its kind");
    }
    expect_size(stored, data.size(), 0);
    const auto gather = [&]<typename Item>(std::vector<Item> list, auto&& item_at) {
        for (std::size_t offset = 0; offset < data.size(); offset += width) {
            list.push_back(item_at(offset));
        }
        return list;
    };
    if (type == (PT_CLSID | MV_FLAG)) {
        return {type, gather(std::vector<GUID>(), [&](std::size_t offset) { return guid_at(data, offset); })};
    }
    if (is_real(type)) {
        return {type, gather(std::vector<double>(), [&](std::size_t offset) { return real_at(data, offset, type); })};
    }
    return {type,
            gather(std::vector<std::int64_t>(), [&](std::size_t offset) { return integer_at(data, offset, type); })};
}

property_value decode_streams(const stored_property& stored, std::uint32_t code_page)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    if (type == (PT_UNICODE | MV_FLAG)) {
        std::vector<std::wstring> list;
        for (std::size_t i = 1; i < stored.streams.size(); ++i) {
            list.push_back(without_end(from_utf16le(to_string(*stored.streams[i].contents))));
        }
        return {type, std::move(list)};
    }
    std::vector<std::string> list;
    for (std::size_t i = 1; i < stored.streams.size(); ++i) {
        std::string item = to_string(*stored.streams[i].contents);
        list.push_back(type == (PT_STRING8 | MV_FLAG) ? without_end(std::move(item)) : std::move(item));
    }
    const std::uint32_t page = type == (PT_STRING8 | MV_FLAG) ? page_of_texts(list, code_page) : 0;
    return {type, std::move(list), page};
}

property_value decode_unknown(const stored_property& stored)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    if (stored.streams.empty()) {
        return {type, number_at<std::int64_t>({stored.entry.data(), stored.entry.size()}, entry_value)};
    }
    return stored.streams.size() > 1 ? decode_streams(stored, 0)
                                     : property_value{type, stored.streams.front().contents};
}

/// Fills in the stored form of a value, depending on its alternative.
class encoder
{
public:
    encoder(stored_property& target, std::uint32_t type)
        : target_(target)
        , type_(type)
    {}

    void operator()(std::monostate)
    {
        if (type_ == PT_OBJECT) {
            set_u32(target_.entry, entry_size, size_of_objects);
            set_u32(target_.entry, entry_reserved, reserved_of_messages);
        }
    }
    void operator()(std::int64_t number)
    {
        std::string value;
        append_integer(value, number, type_);
        value.copy(target_.entry.data() + entry_value, value.size());
    }
    void operator()(double number)
    {
        std::string value;
        append_real(value, number, type_);
        value.copy(target_.entry.data() + entry_value, value.size());
    }
    void operator()(const GUID& guid) { add_value(bytes_of(bytes_of_guid(guid)), 0); }
    void operator()(const property_value::text& text) { add_value(bytes_of(to_utf16le(*text)), 2); }
    void operator()(const bytes_ptr& data) { add_value(data, type_ == PT_UNICODE ? 2 : type_ == PT_STRING8 ? 1 : 0); }
    void operator()(const std::vector<std::int64_t>& list)
    {
        std::string data;
        for (const std::int64_t number : list) {
            append_integer(data, number, type_);
        }
        add_value(bytes_of(std::move(data)), 0);
    }
    void operator()(const std::vector<double>& list)
    {
        std::string data;
        for (const double number : list) {
            append_real(data, number, type_);
        }
        add_value(bytes_of(std::move(data)), 0);
    }
    void operator()(const std::vector<GUID>& list)
    {
        std::string data;
        for (const GUID& guid : list) {
            data += bytes_of_guid(guid);
        }
        add_value(bytes_of(std::move(data)), 0);
    }
    void operator()(const std::vector<std::wstring>& list)
    {
        std::vector<std::string> items;
        items.reserve(list.size());
        for (const auto& text : list) {
            items.push_back(to_utf16le(text) + std::string(2, '\0'));
        }
        add_items(items);
    }
    void operator()(const std::vector<std::string>& list)
    {
        if (type_ != (PT_STRING8 | MV_FLAG)) {
            add_items(list);
            return;
        }
        std::vector<std::string> items;
        items.reserve(list.size());
        for (const auto& text : list) {
            items.push_back(text + '\0');
        }
        add_items(items);
    }
    void operator()(const storage_ptr& storage)
    {
        target_.storages.push_back({value_name(target_.tag()), storage});
        set_u32(target_.entry, entry_size, size_of_objects);
        set_u32(target_.entry, entry_reserved, reserved_of_storages);
    }

private:
    void add_value(bytes_ptr data, std::uint32_t terminator)
    {
        if (data->size() > largest_value) {
            throw std::runtime_error("a part of the message is larger than a message file can hold");
        }
        set_u32(target_.entry, entry_size, static_cast<std::uint32_t>(data->size()) + terminator);
        target_.streams.push_back({value_name(target_.tag()), std::move(data)});
    }
    /// Texts have a terminator, which their length includes; the lengths of other data are followed by four unused
    /// bytes.
    void add_items(const std::vector<std::string>& items)
    {
        const bool texts = type_ == (PT_STRING8 | MV_FLAG) || type_ == (PT_UNICODE | MV_FLAG);
        std::string lengths;
        for (const auto& item : items) {
            append_u32(lengths, static_cast<std::uint32_t>(item.size()));
            if (!texts) {
                append_u32(lengths, 0);
            }
        }
        add_value(bytes_of(std::move(lengths)), 0);
        for (std::size_t i = 0; i < items.size(); ++i) {
            target_.streams.push_back({element_name(target_.tag(), static_cast<std::uint32_t>(i)), bytes_of(items[i])});
        }
    }

    stored_property& target_;
    std::uint32_t type_;
};

} // namespace

std::string property_problem(std::uint32_t tag, const char* reason)
{
    return "its property 0x" + value_name(tag).substr(value_name(0).size() - 8) + " " + reason;
}

void refuse_property(std::uint32_t tag, const char* reason)
{
    throw unreadable_message(property_problem(tag, reason));
}

property_value decode(const stored_property& stored, std::uint32_t code_page)
{
    const std::uint32_t type = PROP_TYPE(stored.tag());
    switch (form_of(type)) {
    case value_form::in_entry:
        return decode_entry(stored);
    case value_form::in_stream:
        return decode_stream(stored, code_page);
    case value_form::in_storage:
        return stored.storages.empty() ? property_value{type, stored.streams.front().contents}
                                       : property_value{type, stored.storages.front().contents};
    case value_form::list_in_stream:
        return decode_list(stored);
    case value_form::list_of_streams:
        return decode_streams(stored, code_page);
    default:
        return decode_unknown(stored);
    }
}

stored_property encode(std::uint32_t tag, const property_value& value)
{
    stored_property result;
    set_u32(result.entry, 0, CHANGE_PROP_TYPE(tag, value.type));
    set_u32(result.entry, entry_flags, readable_and_writable);
    std::visit(encoder(result, value.type), value.data);
    return result;
}

stored_property renamed(const stored_property& stored, std::uint32_t tag)
{
    stored_property result = stored;
    set_u32(result.entry, 0, tag);
    for (std::size_t i = 0; i < result.streams.size(); ++i) {
        result.streams[i].name = i == 0 ? value_name(tag) : element_name(tag, static_cast<std::uint32_t>(i - 1));
    }
    for (auto& storage : result.storages) {
        storage.name = value_name(tag);
    }
    return result;
}

} // namespace host::msg
