#include "packaging/configure/configuration_files.h"
#include "tests/broker/files_of_test.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace packaging {
namespace {

class ConfigurationFiles : public ::testing::Test
{
protected:
    static std::string contents(const std::filesystem::path& file)
    {
        std::ifstream input(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(input), {}};
    }
    std::set<std::string> names() const
    {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path)) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }

    test::settings_folder folder{L"postwarden configuration "};
    broker::access_rules rules{{test::own_account()}};
};

using names_of_files = std::set<std::string>;

TEST_F(ConfigurationFiles, AreWrittenWithACopyAndRemovedWithIt)
{
    EXPECT_TRUE(write_unless_present(folder.file, "as installed", rules));
    EXPECT_EQ(contents(folder.file), "as installed");
    EXPECT_EQ(names(), (names_of_files{"settings.json", "settings.json.default"}));
    remove_unless_changed(folder.file);
    EXPECT_EQ(names(), names_of_files{});
    remove_unless_changed(folder.file);
}

TEST_F(ConfigurationFiles, AreLeftAsTheyAre)
{
    folder.write("changed");
    EXPECT_FALSE(write_unless_present(folder.file, "as installed", rules));
    EXPECT_EQ(contents(folder.file), "changed");
    EXPECT_EQ(names(), names_of_files{"settings.json"});
}

TEST_F(ConfigurationFiles, RemainWhenTheyWereChanged)
{
    EXPECT_TRUE(write_unless_present(folder.file, "as installed", rules));
    folder.write("changed");
    remove_unless_changed(folder.file);
    EXPECT_EQ(contents(folder.file), "changed");
    EXPECT_EQ(names(), names_of_files{"settings.json"});
}

TEST_F(ConfigurationFiles, AreReplacedWhenTheyAreNotTheAdministrators)
{
    folder.write("by somebody");
    test::set_list(folder.file, L"D:P(A;;FA;;;WD)");
    EXPECT_TRUE(write_unless_present(folder.file, "as installed", rules));
    EXPECT_EQ(contents(folder.file), "as installed");
    EXPECT_EQ(contents(folder.path / L"settings.json.refused"), "by somebody");
    remove_unless_changed(folder.file);
    EXPECT_EQ(names(), names_of_files{});
}

TEST_F(ConfigurationFiles, ReplaceACopyThatIsThereAlready)
{
    const auto copy = folder.path / L"settings.json.default";
    std::ofstream(copy) << "by somebody";
    // A second name of the same file: what is written must not appear there.
    const auto other = folder.path / L"other";
    ASSERT_TRUE(::CreateHardLinkW(other.c_str(), copy.c_str(), nullptr));
    EXPECT_TRUE(write_unless_present(folder.file, "as installed", rules));
    EXPECT_EQ(contents(copy), "as installed");
    EXPECT_EQ(contents(other), "by somebody");
    std::filesystem::remove(other);
    remove_unless_changed(folder.file);
}

TEST_F(ConfigurationFiles, AreNotWrittenWithoutTheirCopy)
{
    const auto copy = folder.path / L"settings.json.default";
    std::filesystem::create_directory(copy);
    EXPECT_THROW(write_unless_present(folder.file, "as installed", rules), std::exception);
    EXPECT_FALSE(std::filesystem::exists(folder.file)); // a later installation would keep it
    std::filesystem::remove(copy);
}

TEST_F(ConfigurationFiles, ThatCannotBeWrittenAreAFailure)
{
    EXPECT_THROW(write_unless_present(folder.path / L"none" / L"settings.json", "as installed", rules), std::exception);
}

TEST_F(ConfigurationFiles, OfLogsAreRemovedWithTheirFolderUnlessItHasFolders)
{
    const auto logs = folder.path / L"logs";
    std::filesystem::create_directories(logs / L"kept");
    std::ofstream(logs / L"service.log") << "line";
    std::ofstream(logs / L"kept" / L"other.log") << "line";
    remove_logs(logs);
    EXPECT_FALSE(std::filesystem::exists(logs / L"service.log"));
    EXPECT_TRUE(std::filesystem::exists(logs / L"kept" / L"other.log"));
    std::filesystem::remove_all(logs / L"kept");
    remove_logs(logs);
    EXPECT_FALSE(std::filesystem::exists(logs));
    remove_logs(logs);
}

TEST_F(ConfigurationFiles, FoldersAreGivenToTheAdministratorsWithoutAFailure)
{
    give_to_administrators(folder.path);
    give_to_administrators(folder.path / L"none");
    EXPECT_TRUE(std::filesystem::exists(folder.path));
}

} // namespace
} // namespace packaging
