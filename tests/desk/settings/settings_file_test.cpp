#include "desk/settings/settings_file.h"
#include "settings/settings_blob.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>

namespace host::test {
namespace {

using DOVA::Settings::BlobFromSettings;
using DOVA::Settings::SettingsFromBlob;
using DOVA::Settings::WebTrafficMonitorSettings;

std::string refusal(const std::function<void()>& load)
{
    try {
        load();
    } catch (const settings_file_error& error) {
        return error.what();
    }
    return "";
}

std::string text_of(const std::vector<std::uint8_t>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

class SettingsFile : public testing::Test
{
protected:
    temporary_folder folder;
};

TEST_F(SettingsFile, OfABlobIsGivenAsItIs)
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort = {1345, 1400, true};
    const auto blob = BlobFromSettings(settings);
    EXPECT_EQ(blob, load_settings_bytes(folder.write("settings", text_of(blob))));
}

TEST_F(SettingsFile, OfABadBlobIsGivenAsItIsToo)
{
    for (const std::string content : {"", "x", "[]", "\xFF\xFE{", "no settings"}) {
        EXPECT_EQ(content, text_of(load_settings_bytes(folder.write("settings", content)))) << content;
    }
}

TEST_F(SettingsFile, OfJsonBecomesABlob)
{
    for (const std::string before : {"", "\n\t \r", "\xEF\xBB\xBF", "\xEF\xBB\xBF  "}) {
        const auto file = folder.write("settings", before + R"({"Uri": {"value": "avscan", "isSet": true}})");
        EXPECT_EQ(L"avscan", SettingsFromBlob(load_settings_bytes(file)).Uri.Effective()) << before;
    }
}

TEST_F(SettingsFile, OfWrongJsonIsRefusedWithTheFieldsName)
{
    const auto file = folder.write("settings", R"({"ServerPort": {"value": -1}})");
    EXPECT_EQ("ServerPort.value: must be a whole number from 0 to 4294967295",
              refusal([&] { (void)load_settings_bytes(file); }));
    EXPECT_THAT(refusal([&] { (void)load_settings_bytes(folder.write("settings", "{")); }),
                testing::StartsWith("line 1, column "));
}

TEST_F(SettingsFile, ThatIsMissingOrAFolderIsRefused)
{
    EXPECT_EQ("there is no such file", refusal([&] { (void)load_settings_bytes(folder.path() / "none"); }));
    EXPECT_EQ("is a folder", refusal([&] { (void)load_settings_bytes(folder.path()); }));
    EXPECT_NE("", refusal([&] { (void)load_settings_bytes(""); }));
}

TEST_F(SettingsFile, OfMoreThanSettingsCanBeIsRefused)
{
    constexpr std::uintmax_t largest = 64U << 20U;
    const auto file = folder.write("settings", "");
    std::filesystem::resize_file(file, largest);
    EXPECT_EQ(largest, load_settings_bytes(file).size());
    std::filesystem::resize_file(file, largest + 1);
    EXPECT_EQ("is larger than settings can be", refusal([&] { (void)load_settings_bytes(file); }));
}

TEST_F(SettingsFile, IsReadAnewEachTime)
{
    const auto file = folder.write("settings", R"({"ServerPort": {"value": 1, "isSet": true}})");
    EXPECT_EQ(1U, SettingsFromBlob(load_settings_bytes(file)).ServerPort.Effective());
    (void)folder.write("settings", R"({"ServerPort": {"value": 2, "isSet": true}})");
    EXPECT_EQ(2U, SettingsFromBlob(load_settings_bytes(file)).ServerPort.Effective());
}

TEST_F(SettingsFile, HoldsSettingsInEitherForm)
{
    const auto blob = folder.write("blob", text_of(settings_bytes_of_service(1400, L"other/path")));
    EXPECT_EQ(1400U, load_settings(blob).ServerPort.Effective());
    EXPECT_EQ(L"other/path", load_settings(blob).Uri.Effective());
    const auto json = folder.write("json", R"({"ServerPort": {"value": 1401, "isSet": true}})");
    EXPECT_EQ(1401U, load_settings(json).ServerPort.Effective());
}

TEST_F(SettingsFile, ThatHoldsNoSettingsIsRefused)
{
    EXPECT_EQ("holds no settings blob", refusal([&] { (void)load_settings(folder.write("settings", "text")); }));
    EXPECT_EQ("there is no such file", refusal([&] { (void)load_settings(folder.path() / "none"); }));
}

TEST(SettingsBytes, OfTextThatIsNoJsonAreRefused)
{
    EXPECT_NE("", refusal([] { (void)settings_bytes_of_json("no JSON"); }));
    EXPECT_NE("", refusal([] { (void)settings_bytes_of_json(std::string(8, '\0')); })) << "a blob is no JSON";
}

} // namespace
} // namespace host::test
