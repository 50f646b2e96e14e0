#include "bench/contest.h"
#include "bench/settings.pb.h"
#include "bench/settings_peer.h"
#include "tool/system/conversions.h"

namespace bench::peer {

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

const FieldDescriptor* field_of(const Message& message, int number)
{
    const FieldDescriptor* const field = message.GetDescriptor()->FindFieldByNumber(number);
    require(field != nullptr, "the message lacks a field");
    return field;
}

void put(Message& message, int number, bool value)
{
    message.GetReflection()->SetBool(&message, field_of(message, number), value);
}

void put(Message& message, int number, std::int32_t value)
{
    message.GetReflection()->SetInt32(&message, field_of(message, number), value);
}

void put(Message& message, int number, std::uint32_t value)
{
    message.GetReflection()->SetUInt32(&message, field_of(message, number), value);
}

void put(Message& message, int number, const std::wstring& value)
{
    message.GetReflection()->SetString(&message, field_of(message, number), winapi::conv_to_char(value));
}

template <DOVA::Settings::FieldRecord Record>
void put_fields(Message& message, const Record& record);

template <DOVA::Settings::FieldRecord Record>
void put(Message& message, int number, const Record& record)
{
    put_fields(*message.GetReflection()->MutableMessage(&message, field_of(message, number)), record);
}

void add(Message& message, int number, std::uint32_t value)
{
    message.GetReflection()->AddUInt32(&message, field_of(message, number), value);
}

void add(Message& message, int number, const std::wstring& value)
{
    message.GetReflection()->AddString(&message, field_of(message, number), winapi::conv_to_char(value));
}

template <DOVA::Settings::FieldRecord Record>
void add(Message& message, int number, const Record& record)
{
    put_fields(*message.GetReflection()->AddMessage(&message, field_of(message, number)), record);
}

template <typename T>
void put(Message& message, int number, const std::vector<T>& list)
{
    for (const T& item : list) {
        add(message, number, item);
    }
}

template <typename T>
void put(Message& message, int number, const DOVA::Settings::Setting<T>& setting)
{
    Message& parts = *message.GetReflection()->MutableMessage(&message, field_of(message, number));
    put(parts, 1, setting.default_);
    put(parts, 2, setting.value);
    put(parts, 3, setting.isSet);
}

template <DOVA::Settings::FieldRecord Record>
void put_fields(Message& message, const Record& record)
{
    DOVA::Settings::ForEachField<Record>(
        [&](const auto& field) { put(message, static_cast<int>(field.tag), record.*field.member); });
}

std::size_t last_pattern_of(const WebTrafficMonitorSettings& message)
{
    const auto& rules = message.url_rules().value();
    return rules.empty() ? 0 : rules[rules.size() - 1].url_pattern().size();
}

} // namespace

bool is_there() noexcept
{
    return true;
}

std::string bytes_of(const DOVA::Settings::WebTrafficMonitorSettings& settings)
{
    WebTrafficMonitorSettings message;
    put_fields(message, settings);
    return message.SerializeAsString();
}

std::size_t parse(const std::string& bytes, std::uint64_t count)
{
    std::size_t last = 0;
    for (; count > 0; --count) {
        WebTrafficMonitorSettings message;
        require(message.ParseFromString(bytes), "the peer's message cannot be parsed");
        last = last_pattern_of(message);
    }
    return last;
}

std::size_t parse_in_arena(const std::string& bytes, std::uint64_t count)
{
    std::size_t last = 0;
    for (; count > 0; --count) {
        google::protobuf::Arena arena;
        auto& message = *google::protobuf::Arena::CreateMessage<WebTrafficMonitorSettings>(&arena);
        require(message.ParseFromString(bytes), "the peer's message cannot be parsed");
        last = last_pattern_of(message);
    }
    return last;
}

std::size_t serialise(const std::string& bytes, std::uint64_t count)
{
    WebTrafficMonitorSettings message;
    require(message.ParseFromString(bytes), "the peer's message cannot be parsed");
    std::string written;
    for (; count > 0; --count) {
        require(message.SerializeToString(&written), "the peer's message cannot be written");
    }
    return written.size();
}

} // namespace bench::peer
