#include "cctool/serialization/container.h"
#include "desk/settings/settings_json.h"
#include "settings/settings_blob.h"
#include "settings/task_settings_ser.h"
#include "tests/desk/cli/cli_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace host::test {
namespace {

using DOVA::Settings::BlobFromSettings;
using DOVA::Settings::SettingsFromBlob;
using DOVA::Settings::SettingsFromJson;
using DOVA::Settings::WebTrafficMonitorSettings;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

WebTrafficMonitorSettings some_settings()
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort = {1345, 1400, true};
    settings.Uri.value = L"not in force";
    settings.UrlRules.value = {{true, 3, L"*://a/*", L"a rule"}};
    settings.Base.TimeLimit = {60, 61, true};
    return settings;
}

class SettingsCommand : public testing::Test
{
protected:
    std::string blob_file(const WebTrafficMonitorSettings& settings)
    {
        const auto blob = BlobFromSettings(settings);
        return folder.write("settings.blob", std::string(blob.begin(), blob.end())).string();
    }

    std::string out() { return (folder.path() / "out").string(); }

    WebTrafficMonitorSettings made()
    {
        const std::string text = file_text(out());
        return SettingsFromBlob({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }

    /// Returns the names of the files in the folder.
    std::vector<std::string> names()
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    temporary_folder folder;
};

TEST_F(SettingsCommand, ShowsABlobAsJson)
{
    const auto result = command({"settings", "show", blob_file(some_settings()), "--json"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_TRUE(SettingsFromJson(result.out) == some_settings());
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(1400, json["ServerPort"]["effective"]);
    EXPECT_EQ("webscan", json["Uri"]["effective"]);
}

TEST_F(SettingsCommand, ShowsATableOfAllSettings)
{
    const auto result = command({"settings", "show", blob_file(some_settings())});
    EXPECT_EQ(0, result.status);
    const auto lines = lines_of(result.out);
    ASSERT_EQ(57U, lines.size());
    EXPECT_THAT(lines[0], testing::MatchesRegex("  SETTING +IN FORCE +SET +VALUE +DEFAULT"));
    const auto line = [&](const std::string& name) {
        const auto found = std::find_if(lines.begin(), lines.end(),
                                        [&](const std::string& text) { return text.find(' ' + name + ' ') == 1; });
        return found == lines.end() ? "" : *found;
    };
    EXPECT_THAT(line("ServerPort"), testing::MatchesRegex("\\* ServerPort +1400 +yes +1400 +1345"));
    EXPECT_THAT(line("Uri"), testing::MatchesRegex("\\* Uri +webscan +no +not in force +webscan"));
    EXPECT_THAT(line("Base.TimeLimit"), testing::MatchesRegex("  Base\\.TimeLimit +61 +yes +61 +60"));
    EXPECT_EQ(6, std::count_if(lines.begin(), lines.end(), [](const auto& text) { return text[0] == '*'; }));
    for (const std::string& text : lines) {
        EXPECT_LE(columns_of(text), 100U) << text;
    }
}

TEST_F(SettingsCommand, ShowsJsonFilesAndOlderBlobsToo)
{
    const auto json = folder.write("settings.json", R"({"ServerPort": {"value": 5, "isSet": true}})");
    EXPECT_EQ(5, nlohmann::json::parse(
                     command({"settings", "show", json.string(), "--json"}).out)["ServerPort"]["effective"]);
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    Serialize(some_settings(), *tree, 0);
    cctool::Serialization::Bytes blob;
    ASSERT_TRUE(tree->GetBlob(blob, false));
    const auto old = folder.write("old", std::string(blob.begin(), blob.end()));
    const auto shown = nlohmann::json::parse(command({"settings", "show", old.string(), "--json"}).out);
    EXPECT_EQ(1345, shown["ServerPort"]["effective"]) << "the blob has no port yet";
    EXPECT_EQ(61, shown["Base"]["TimeLimit"]["effective"]);
}

TEST_F(SettingsCommand, MakesTheBlobThatItShowed)
{
    const std::string blob = blob_file(some_settings());
    const auto json = folder.write("settings.json", command({"settings", "show", blob, "--json"}).out);
    const auto result = command({"settings", "make", "--json", json.string(), out()});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.out + result.err);
    EXPECT_EQ(file_text(blob), file_text(out()));
}

TEST_F(SettingsCommand, MakesABlobOfWhatJsonLeavesOut)
{
    const auto json = folder.write("settings.json", "{}");
    EXPECT_EQ(0, command({"settings", "make", "--json", json.string(), out()}).status);
    EXPECT_TRUE(made() == WebTrafficMonitorSettings());
}

TEST_F(SettingsCommand, MakesInThePlaceOfAnOlderFile)
{
    (void)folder.write("out", std::string(100000, 'x'));
    const auto json = folder.write("settings.json", R"({"Uri": {"value": "avscan", "isSet": true}})");
    EXPECT_EQ(0, command({"settings", "make", "--json", json.string(), out()}).status);
    EXPECT_EQ(L"avscan", made().Uri.Effective());
    EXPECT_EQ((std::vector<std::string>{"out", "settings.json"}), names()) << "no temporary file is left";
}

TEST_F(SettingsCommand, RefusesWrongJsonByNameAndLeavesTheOldFile)
{
    const std::vector<std::pair<std::string, std::string>> refused{
        {R"({"Colour": {}})", "Colour: there is no such field"},
        {R"({"Base": {"ScanType": {"value": "x"}}})",
         "Base.ScanType.value: must be a whole number from -2147483648 to 2147483647"},
        {R"({"ServerPort": {"value": 4294967296}})", "ServerPort.value: must be a whole number from 0 to 4294967295"},
        {R"({"Uri": {"isSet": 1}})", "Uri.isSet: must be true or false"},
    };
    (void)folder.write("out", "old");
    for (const auto& [text, why] : refused) {
        const std::string json = folder.write("settings.json", text).string();
        const auto result = command({"settings", "make", "--json", json, out()});
        EXPECT_EQ(3, result.status) << text;
        EXPECT_EQ("", result.out);
        EXPECT_EQ("postwarden: " + json + ": " + why + "\n", result.err);
        EXPECT_EQ("old", file_text(out()));
    }
    EXPECT_EQ((std::vector<std::string>{"out", "settings.json"}), names());
}

TEST_F(SettingsCommand, RefusesWhatTheProductCannotUse)
{
    const auto out = (folder.path() / "out.blob").string();
    const auto complaint = [&](const std::string& json) {
        const auto result = command({"settings", "make", "--json", folder.write("in.json", json).string(), out});
        EXPECT_EQ(3, result.status) << json;
        EXPECT_FALSE(std::filesystem::exists(out));
        return result.err;
    };
    EXPECT_THAT(complaint(R"({"ServerPort": {"value": 99999, "isSet": true}})"),
                HasSubstr("ServerPort.value: must be a port, 1 to 65535\n"));
    EXPECT_THAT(complaint(R"({"ServerPort": {"default": 0}})"),
                HasSubstr("ServerPort.default: must be a port, 1 to 65535\n"));
    EXPECT_THAT(complaint(R"({"ProxyPort": {"value": 65536, "isSet": true}})"),
                HasSubstr("ProxyPort.value: must be a port, 0 to 65535\n"));
    EXPECT_THAT(complaint(R"({"ExtProxyServerPort": {"value": 65536, "isSet": true}})"),
                HasSubstr("ExtProxyServerPort.value: must be a port, 0 to 65535\n"));
    EXPECT_THAT(complaint(R"({"ControlledPorts": {"value": [80, 0], "isSet": true}})"),
                HasSubstr("ControlledPorts.value[1]: must be a port, 1 to 65535\n"));
    EXPECT_THAT(complaint(R"({"ExcludedPorts": {"default": [70000]}})"),
                HasSubstr("ExcludedPorts.default[0]: must be a port, 1 to 65535\n"));
    EXPECT_THAT(complaint(R"({"Uri": {"value": "web scan", "isSet": true}})"), HasSubstr("Uri.value: must be a path"));
    for (const char* usable : {"{}", R"({"ServerPort": {"value": 65535, "isSet": true}})",
                               R"({"ServerPort": {"value": 0, "isSet": false}})"}) {
        EXPECT_EQ(0, command({"settings", "make", "--json", folder.write("in.json", usable).string(), out}).status);
    }
}

TEST_F(SettingsCommand, RefusesABlobWhereJsonIsWanted)
{
    const auto result = command({"settings", "make", "--json", blob_file({}), out()});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ((std::vector<std::string>{"settings.blob"}), names());
}

TEST_F(SettingsCommand, TellsWhyAFileCannotBeShown)
{
    const auto told = [](const std::string& file) {
        const auto result = command({"settings", "show", file});
        EXPECT_EQ(3, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_THAT(result.err, StartsWith("postwarden: " + file + ": "));
        EXPECT_EQ(1U, lines_of(result.err).size());
        return result.err.substr(file.size() + 14);
    };
    EXPECT_EQ("there is no such file\n", told((folder.path() / "none").string()));
    EXPECT_EQ("is a folder\n", told(folder.path().string()));
    EXPECT_EQ("holds no settings blob\n", told(folder.write("a", "").string()));
    EXPECT_EQ("holds no settings blob\n", told(folder.write("a", "some text").string()));
    EXPECT_EQ("holds no settings blob: container element not found, tag-id=65280, tag-name=__VersionInfo\n",
              told(folder.write("a", std::string(8, '\0')).string()));
    const std::string long_array("\0\0\0\0\0\0\0\1\0\0\0\2\0\0\0\15\377\0\0\0\0\0\0\0", 24);
    EXPECT_EQ("holds no settings blob\n", told(folder.write("a", long_array).string()));
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    tree->SetVersion(cctool::Serialization::version_info_tag, {2, 0});
    cctool::Serialization::Bytes blob;
    ASSERT_TRUE(tree->GetBlob(blob, false));
    EXPECT_EQ("holds settings of a version that is not understood\n",
              told(folder.write("a", std::string(blob.begin(), blob.end())).string()));
    EXPECT_EQ("Uri: must be an object\n", told(folder.write("a", R"({"Uri": 1})").string()));
}

TEST_F(SettingsCommand, TellsWhyABlobCannotBeWritten)
{
    const auto json = folder.write("settings.json", "{}");
    const std::string target = (folder.path() / "none" / "out").string();
    const auto result = command({"settings", "make", "--json", json.string(), target});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("postwarden: " + target + ": No such file or directory\n", result.err);
    EXPECT_EQ(1, command({"settings", "make", "--json", json.string(), folder.path().string()}).status);
}

TEST(SettingsCommandHelp, StandsEverywhere)
{
    EXPECT_THAT(command({"--help"}).out, HasSubstr("settings"));
    EXPECT_THAT(command({"settings", "--help"}).out, testing::AllOf(HasSubstr("show"), HasSubstr("make")));
    EXPECT_THAT(command({"settings", "show", "--help"}).out, testing::AllOf(HasSubstr("FILE"), HasSubstr("--json")));
    EXPECT_THAT(command({"settings", "make", "--help"}).out,
                testing::AllOf(HasSubstr("OUT"), HasSubstr("--json FILE")));
    EXPECT_EQ(0, command({"settings", "make", "--help"}).status);
}

class WrongSettingsUsage : public testing::TestWithParam<std::vector<std::string>>
{};

TEST_P(WrongSettingsUsage, EndsWithOneLineAndStatusTwo)
{
    const auto result = command(GetParam());
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, StartsWith("postwarden: command line: "));
    EXPECT_THAT(result.err, EndsWith("; --help tells more\n"));
    EXPECT_EQ(1U, lines_of(result.err).size()) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Arguments, WrongSettingsUsage,
                         testing::Values(std::vector<std::string>{"settings"},
                                         std::vector<std::string>{"settings", "--json"},
                                         std::vector<std::string>{"settings", "change", "a"},
                                         std::vector<std::string>{"settings", "show"},
                                         std::vector<std::string>{"settings", "show", "a", "b"},
                                         std::vector<std::string>{"settings", "make", "a"},
                                         std::vector<std::string>{"settings", "make", "--json", "a"},
                                         std::vector<std::string>{"settings", "make", "--json", "a", "b", "c"}));

} // namespace
} // namespace host::test
