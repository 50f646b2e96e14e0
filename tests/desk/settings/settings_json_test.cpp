#include "desk/settings/settings_json.h"
#include "tests/settings/record_changes.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace DOVA::Settings::test {
namespace {

using testing::StartsWith;

/// Returns the text of the error for JSON that is rejected; "" if it is accepted.
std::string Refusal(const std::string& json)
{
    try {
        (void)SettingsFromJson(json);
    } catch (const SettingsJsonError& error) {
        return error.what();
    }
    return "";
}

TEST(SettingsJson, ComesBackAsAnEqualRecord)
{
    EXPECT_TRUE(SettingsFromJson(JsonFromSettings({})) == WebTrafficMonitorSettings());
    const WebTrafficMonitorSettings settings = ChangedSettings();
    EXPECT_TRUE(SettingsFromJson(JsonFromSettings(settings)) == settings);
}

TEST(SettingsJson, TellsNamesAndTheFourParts)
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort = {1345, 1400, true};
    settings.Uri.value = L"caf\xE9 \x263A";
    settings.Base.ScanExtensionMasks.value = {L"*.exe", L"*.dll"};
    settings.UrlRules.default_ = {{true, -5, L"*://a/*", L"name"}};
    const auto json = nlohmann::json::parse(JsonFromSettings(settings));
    EXPECT_EQ(nlohmann::json::parse(R"({"default": 1345, "value": 1400, "isSet": true, "effective": 1400})"),
              json["ServerPort"]);
    EXPECT_EQ(nlohmann::json::parse(
                  R"({"default": "webscan", "value": "caf\u00e9 \u263a", "isSet": false, "effective": "webscan"})"),
              json["Uri"]);
    EXPECT_EQ(nlohmann::json::parse(R"({"default": [], "value": ["*.exe", "*.dll"], "isSet": false, "effective": []})"),
              json["Base"]["ScanExtensionMasks"]);
    EXPECT_EQ(nlohmann::json::parse(R"([{"Enable": true, "Type": -5, "UrlPattern": "*://a/*", "Name": "name"}])"),
              json["UrlRules"]["effective"]);
    EXPECT_EQ(nlohmann::json::parse(R"({"ActionType": 1})"), json["InfectedAction"]["value"]);
    EXPECT_EQ(47U, json.size());
    EXPECT_EQ(10U, json["Base"].size());
}

TEST(SettingsJson, HasItsFieldsInTheOrderOfTheRecord)
{
    const auto json = nlohmann::ordered_json::parse(JsonFromSettings({}));
    std::vector<std::string> names;
    for (const auto& item : json.items()) {
        names.push_back(item.key());
    }
    std::vector<std::string> expected;
    ForEachField<WebTrafficMonitorSettings>([&](const auto& field) {
        const std::wstring name = field.name;
        expected.emplace_back(name.begin(), name.end());
    });
    EXPECT_EQ(expected, names);
}

TEST(SettingsJson, LeavesWhatIsMissingAtItsDefaults)
{
    EXPECT_TRUE(SettingsFromJson("{}") == WebTrafficMonitorSettings());
    const WebTrafficMonitorSettings settings =
        SettingsFromJson(R"({"ServerPort": {"value": 7, "isSet": true}, "Base": {"TimeLimit": {"value": 9}},
                             "InfectedAction": {"isSet": true}, "UrlRules": {"value": [{"Name": "n"}]}})");
    WebTrafficMonitorSettings expected;
    expected.ServerPort = {1345, 7, true};
    expected.Base.TimeLimit.value = 9;
    expected.InfectedAction.isSet = true;
    expected.UrlRules.value = {{false, 0, L"", L"n"}};
    EXPECT_TRUE(settings == expected);
}

TEST(SettingsJson, PassesOverTheEffectiveValueButNotItsType)
{
    EXPECT_TRUE(SettingsFromJson(R"({"ServerPort": {"effective": 99}})") == WebTrafficMonitorSettings());
    EXPECT_THAT(Refusal(R"({"ServerPort": {"effective": "99"}})"), StartsWith("ServerPort.effective: "));
}

TEST(SettingsJson, TakesTheEndsOfEachRange)
{
    const auto settings = SettingsFromJson(R"({"SizeLimit": {"default": 0, "value": 4294967295},
                                               "ProxyMode": {"default": -2147483648, "value": 2147483647}})");
    EXPECT_EQ(0U, settings.SizeLimit.default_);
    EXPECT_EQ(4294967295U, settings.SizeLimit.value);
    EXPECT_EQ(-2147483647 - 1, settings.ProxyMode.default_);
    EXPECT_EQ(2147483647, settings.ProxyMode.value);
}

TEST(SettingsJson, RefusesNumbersOutOfRangeWithTheFieldsName)
{
    constexpr const char* unsigned_range = "must be a whole number from 0 to 4294967295";
    constexpr const char* signed_range = "must be a whole number from -2147483648 to 2147483647";
    for (const char* number :
         {"-1", "4294967296", "1e3", "1.5", "99999999999999999999999", "\"1\"", "true", "null", "[]"}) {
        EXPECT_EQ(std::string("SizeLimit.value: ") + unsigned_range,
                  Refusal(std::string(R"({"SizeLimit": {"value": )") + number + "}}"));
    }
    for (const char* number : {"-2147483649", "2147483648", "18446744073709551615", "-9223372036854775808", "0.0"}) {
        EXPECT_EQ(std::string("ProxyMode.default: ") + signed_range,
                  Refusal(std::string(R"({"ProxyMode": {"default": )") + number + "}}"));
    }
    EXPECT_EQ(std::string("ControlledPorts.value[1]: ") + unsigned_range,
              Refusal(R"({"ControlledPorts": {"value": [25, -25]}})"));
}

TEST(SettingsJson, RefusesWrongTypesWithTheFieldsName)
{
    const std::vector<std::pair<std::string, std::string>> refused{
        {"[]", "the settings: must be an object"},
        {"null", "the settings: must be an object"},
        {"7", "the settings: must be an object"},
        {R"({"ServerPort": 1400})", "ServerPort: must be an object"},
        {R"({"Base": []})", "Base: must be an object"},
        {R"({"Base": {"ScanType": null}})", "Base.ScanType: must be an object"},
        {R"({"EnableHttps": {"value": 1}})", "EnableHttps.value: must be true or false"},
        {R"({"EnableHttps": {"isSet": "true"}})", "EnableHttps.isSet: must be true or false"},
        {R"({"Uri": {"default": 5}})", "Uri.default: must be a text"},
        {R"({"Uri": {"value": null}})", "Uri.value: must be a text"},
        {R"({"ExcludedAddresses": {"value": "a"}})", "ExcludedAddresses.value: must be a list"},
        {R"({"ExcludedAddresses": {"value": {}}})", "ExcludedAddresses.value: must be a list"},
        {R"({"ExcludedAddresses": {"value": ["a", 1]}})", "ExcludedAddresses.value[1]: must be a text"},
        {R"({"InfectedAction": {"value": 1}})", "InfectedAction.value: must be an object"},
        {R"({"AdvancedActions": {"value": [{"Actions": [{}, {"Action": {"ActionType": "x"}}]}]}})",
         "AdvancedActions.value[0].Actions[1].Action.ActionType: must be a whole number from -2147483648 to "
         "2147483647"},
        {R"({"ContentCategories": {"default": [{"Allowed": 0}]}})",
         "ContentCategories.default[0].Allowed: must be true or false"},
    };
    for (const auto& [json, text] : refused) {
        EXPECT_EQ(text, Refusal(json)) << json;
    }
}

TEST(SettingsJson, RefusesUnknownNames)
{
    EXPECT_EQ("Colour: there is no such field", Refusal(R"({"Colour": {}})"));
    EXPECT_EQ("serverport: there is no such field", Refusal(R"({"serverport": {}})")) << "case counts";
    EXPECT_EQ("Base.ServerPort: there is no such field", Refusal(R"({"Base": {"ServerPort": {}}})"));
    EXPECT_EQ("SearchPattern: there is no such field", Refusal(R"({"SearchPattern": {}})"));
    EXPECT_EQ("ServerPort.Value: a setting has default, value and isSet, and no such part",
              Refusal(R"({"ServerPort": {"Value": 1}})"));
    EXPECT_EQ("CertificateSearchPatterns.value[0].Kind: there is no such field",
              Refusal(R"({"CertificateSearchPatterns": {"value": [{"Kind": 1}]}})"));
    EXPECT_EQ("__VersionInfo: there is no such field", Refusal(R"({"__VersionInfo": [1, 9]})"));
}

TEST(SettingsJson, RefusesNamesThatStandTwice)
{
    EXPECT_EQ("Uri: stands there twice", Refusal(R"({"Uri": {}, "ProxyPort": {}, "Uri": {}})"));
    EXPECT_EQ("Uri.value: stands there twice", Refusal(R"({"Uri": {"value": "a", "value": "b"}})"));
    EXPECT_EQ("", Refusal(R"({"Uri": {"value": "a"}, "ExtProxyServerAddress": {"value": "b"}})"));
}

TEST(SettingsJson, RefusesWhatIsNoJsonWithTheLine)
{
    EXPECT_THAT(Refusal(""), StartsWith("line 1, column 1: "));
    EXPECT_THAT(Refusal("{\n\"Uri\": {,}}"), StartsWith("line 2, column 9: "));
    EXPECT_THAT(Refusal("{} {}"), StartsWith("line 1, column 4: "));
    EXPECT_THAT(Refusal("{\"Uri\": {\"value\": \"\xFF\"}}"), StartsWith("line 1, column "));
    EXPECT_THAT(Refusal(R"({"Uri": {"value": "\ud800"}})"), StartsWith("line 1, column "));
}

TEST(SettingsJson, OfGreatDepthIsRefused)
{
    const std::string deep(500000, '[');
    EXPECT_NE("", Refusal(deep));
    EXPECT_EQ("Uri.value: must be a text",
              Refusal(R"({"Uri": {"value": )" + deep + std::string(deep.size(), ']') + "}}"));
}

TEST(SettingsJson, TakesAByteOrderMark)
{
    EXPECT_EQ("", Refusal("\xEF\xBB\xBF{}"));
}

TEST(SettingsJson, HoldsCodePointsBeyondSixteenBits)
{
    const auto settings = SettingsFromJson("{\"Uri\": {\"value\": \"\xF0\x9F\x98\x80\"}}");
    EXPECT_EQ(L"\U0001F600", settings.Uri.value);
    EXPECT_TRUE(SettingsFromJson(JsonFromSettings(settings)) == settings);
}

TEST(SettingTexts, AreOneForEachSetting)
{
    WebTrafficMonitorSettings settings;
    settings.Uri = {L"webscan", L"avscan", true};
    settings.ControlledPorts.value = {25, 110};
    const std::vector<SettingText> texts = TextsOf(settings);
    ASSERT_EQ(56U, texts.size());
    EXPECT_EQ("Base.UseTrustedZoneSettings", texts.front().name);
    EXPECT_EQ("MailHeuristicType", texts.back().name);
    for (const SettingText& text : texts) {
        if (text.name == "Uri") {
            EXPECT_EQ("webscan|avscan|avscan", text.default_ + '|' + text.value + '|' + text.effective);
            EXPECT_TRUE(text.isSet);
            EXPECT_TRUE(text.readByAddin);
        } else if (text.name == "ControlledPorts") {
            EXPECT_EQ("[]|[25,110]|[]", text.default_ + '|' + text.value + '|' + text.effective);
            EXPECT_FALSE(text.isSet);
            EXPECT_FALSE(text.readByAddin);
        }
    }
}

} // namespace
} // namespace DOVA::Settings::test
