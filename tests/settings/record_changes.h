#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace DOVA::Settings::test {

/// Changes every part of a field or record to another value.
inline void Change(bool& value)
{
    value = !value;
}

template <typename Number>
requires std::is_integral_v<Number>
void Change(Number& value)
{
    value = static_cast<Number>(value + 0x81828384U);
}

inline void Change(std::wstring& text)
{
    text += L"/caf\xE9 \x263A";
}

template <FieldRecord Record>
void Change(Record& record);

template <typename T>
void Change(std::vector<T>& list)
{
    list.resize(list.size() + 2);
    Change(list.front());
    Change(list.back());
    Change(list.back());
}

template <typename T>
void Change(Setting<T>& setting)
{
    Change(setting.default_);
    Change(setting.value);
    Change(setting.value);
    Change(setting.isSet);
}

template <FieldRecord Record>
void Change(Record& record)
{
    ForEachField<Record>([&](const auto& field) { Change(record.*field.member); });
}

inline WebTrafficMonitorSettings ChangedSettings()
{
    WebTrafficMonitorSettings settings;
    Change(settings);
    return settings;
}

} // namespace DOVA::Settings::test
