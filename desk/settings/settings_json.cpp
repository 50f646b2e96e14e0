#include "desk/settings/settings_json.h"

#include "desk/settings/field_json.h"

#include <set>
#include <utility>

namespace DOVA::Settings {

namespace {

constexpr int indentation = 2;

/// Detects names that occur twice in one object, which the parser accepts.
class NameWatch
{
public:
    bool operator()(nlohmann::json::parse_event_t event, const nlohmann::json& parsed)
    {
        switch (event) {
        case nlohmann::json::parse_event_t::object_start:
            open_.emplace_back();
            break;
        case nlohmann::json::parse_event_t::object_end:
            open_.pop_back();
            break;
        case nlohmann::json::parse_event_t::key:
            open_.back().last = parsed.get<std::string>();
            if (!open_.back().names.insert(open_.back().last).second) {
                detail::Refuse(Path(), "stands there twice");
            }
            break;
        default:
            break;
        }
        return true;
    }

private:
    struct Object
    {
        std::set<std::string> names;
        std::string last;
    };

    [[nodiscard]] std::string Path() const
    {
        std::string path;
        for (const Object& object : open_) {
            path = detail::Joined(path, object.last);
        }
        return path;
    }

    std::vector<Object> open_;
};

nlohmann::json Parse(std::string_view text)
{
    try {
        NameWatch watch;
        return nlohmann::json::parse(text, [&watch](int, nlohmann::json::parse_event_t event, nlohmann::json& parsed) {
            return watch(event, parsed);
        });
    } catch (const nlohmann::json::parse_error& error) {
        const std::string told =
            error.what(); // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        const std::size_t place = told.find("line ");
        throw SettingsJsonError(place == std::string::npos ? "not JSON" : told.substr(place));
    }
}

/// Returns a text unchanged, any other value as compact JSON.
std::string TextOf(const nlohmann::ordered_json& value)
{
    return value.is_string() ? value.get<std::string>() : value.dump();
}

template <FieldRecord Record>
void AddTexts(std::vector<SettingText>& texts, const std::string& path, const Record& record);

template <typename T>
void AddTexts(std::vector<SettingText>& texts, const std::string& path, const Setting<T>& setting)
{
    texts.push_back({path, TextOf(detail::ToJson(setting.default_)), TextOf(detail::ToJson(setting.value)),
                     setting.isSet, TextOf(detail::ToJson(setting.Effective())), false});
}

template <FieldRecord Record>
void AddTexts(std::vector<SettingText>& texts, const std::string& path, const Record& record)
{
    ForEachField<Record>([&](const auto& field) {
        AddTexts(texts, detail::Joined(path, detail::NarrowName(field.name)), record.*field.member);
        texts.back().readByAddin = field.readByAddin;
    });
}

} // namespace

std::string JsonFromSettings(const WebTrafficMonitorSettings& settings)
{
    return detail::ToJson(settings).dump(indentation) + '\n';
}

WebTrafficMonitorSettings SettingsFromJson(std::string_view json)
{
    WebTrafficMonitorSettings settings;
    detail::FromJson({}, Parse(json), settings);
    return settings;
}

std::vector<SettingText> TextsOf(const WebTrafficMonitorSettings& settings)
{
    std::vector<SettingText> texts;
    AddTexts(texts, {}, settings);
    return texts;
}

} // namespace DOVA::Settings
