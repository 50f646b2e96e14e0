#pragma once

#include "desk/settings/settings_json.h"
#include "settings/field.h"
#include "settings/setting.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

/// Conversion of record fields to and from JSON values. A path is the full name of the field, for error texts.
namespace DOVA::Settings::detail {

/// Returns the name of a field. All field names are ASCII.
inline std::string NarrowName(const wchar_t* name)
{
    std::string narrow;
    for (; *name != L'\0'; ++name) {
        narrow.push_back(static_cast<char>(*name));
    }
    return narrow;
}

[[noreturn]] inline void Refuse(const std::string& path, const std::string& why)
{
    throw SettingsJsonError((path.empty() ? "the settings" : path) + ": " + why);
}

inline std::string Joined(const std::string& path, const std::string& name)
{
    return path.empty() ? name : path + '.' + name;
}

template <typename T>
nlohmann::ordered_json ToJson(const T& value)
{
    return value;
}

inline nlohmann::ordered_json ToJson(const std::wstring& text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

template <FieldRecord Record>
nlohmann::ordered_json ToJson(const Record& record);

template <typename T>
nlohmann::ordered_json ToJson(const std::vector<T>& list)
{
    auto json = nlohmann::ordered_json::array();
    for (const T& item : list) {
        json.push_back(ToJson(item));
    }
    return json;
}

template <typename T>
nlohmann::ordered_json ToJson(const Setting<T>& setting)
{
    auto json = nlohmann::ordered_json::object();
    json["default"] = ToJson(setting.default_);
    json["value"] = ToJson(setting.value);
    json["isSet"] = setting.isSet;
    json["effective"] = ToJson(setting.Effective());
    return json;
}

template <FieldRecord Record>
nlohmann::ordered_json ToJson(const Record& record)
{
    auto json = nlohmann::ordered_json::object();
    ForEachField<Record>([&](const auto& field) { json[NarrowName(field.name)] = ToJson(record.*field.member); });
    return json;
}

inline void FromJson(const std::string& path, const nlohmann::json& json, bool& value)
{
    if (!json.is_boolean()) {
        Refuse(path, "must be true or false");
    }
    value = json.get<bool>();
}

template <std::integral Number>
void FromJson(const std::string& path, const nlohmann::json& json, Number& number)
{
    constexpr std::int64_t lowest = std::numeric_limits<Number>::min();
    constexpr std::int64_t highest = std::numeric_limits<Number>::max();
    const bool fits = json.is_number_unsigned() ? json.get<std::uint64_t>() <= std::uint64_t{highest}
                                                : json.is_number_integer() && json.get<std::int64_t>() >= lowest;
    if (!fits) {
        Refuse(path, "must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    number = json.get<Number>();
}

inline void FromJson(const std::string& path, const nlohmann::json& json, std::wstring& text)
{
    if (!json.is_string()) {
        Refuse(path, "must be a text");
    }
    text = winapi::conv_to_wide(json.get_ref<const std::string&>(), winapi::code_page_utf8);
}

template <FieldRecord Record>
void FromJson(const std::string& path, const nlohmann::json& json, Record& record);

template <typename T>
void FromJson(const std::string& path, const nlohmann::json& json, std::vector<T>& list)
{
    if (!json.is_array()) {
        Refuse(path, "must be a list");
    }
    list.clear();
    for (const nlohmann::json& item : json) {
        T read{};
        FromJson(path + '[' + std::to_string(list.size()) + ']', item, read);
        list.push_back(std::move(read));
    }
}

inline void ExpectObject(const std::string& path, const nlohmann::json& json)
{
    if (!json.is_object()) {
        Refuse(path, "must be an object");
    }
}

template <typename T>
void FromJson(const std::string& path, const nlohmann::json& json, Setting<T>& setting)
{
    ExpectObject(path, json);
    for (const auto& [name, part] : json.items()) {
        const std::string full = Joined(path, name);
        if (name == "default") {
            FromJson(full, part, setting.default_);
        } else if (name == "value") {
            FromJson(full, part, setting.value);
        } else if (name == "isSet") {
            FromJson(full, part, setting.isSet);
        } else if (name == "effective") {
            T passed_over{};
            FromJson(full, part, passed_over);
        } else {
            Refuse(full, "a setting has default, value and isSet, and no such part");
        }
    }
}

template <FieldRecord Record>
void FromJson(const std::string& path, const nlohmann::json& json, Record& record)
{
    ExpectObject(path, json);
    for (const auto& [name, value] : json.items()) {
        bool known = false;
        ForEachField<Record>([&, &key = name, &part = value](const auto& field) {
            if (NarrowName(field.name) == key) {
                known = true;
                FromJson(Joined(path, key), part, record.*field.member);
            }
        });
        if (!known) {
            Refuse(Joined(path, name), "there is no such field");
        }
    }
}

} // namespace DOVA::Settings::detail
