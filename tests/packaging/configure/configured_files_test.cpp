#include "packaging/configure/agreed_port.h"
#include "packaging/configure/configured_files.h"
#include "packaging/configure/installed_service.h"
#include "tests/broker/files_of_test.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>

namespace packaging {
namespace {

/// Returns the path of verifying_program.exe, which is in the folder of the test.
std::wstring verifying_program()
{
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), path.size());
    return std::filesystem::path(std::wstring(path.data(), length))
        .replace_filename(L"verifying_program.exe")
        .wstring();
}

class ConfiguredFiles : public ::testing::Test
{
protected:
    static void write(const std::filesystem::path& file, const std::string& text)
    {
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string contents(const std::filesystem::path& file)
    {
        std::ifstream input(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(input), {}};
    }
    [[nodiscard]] auto port_of_options() const { return port_of_service(contents(files.options())); }
    [[nodiscard]] auto port_of_settings() const { return port_of_addin(contents(files.settings())); }
    void add_service(const std::string& port) const
    {
        configure_service(files, rules, port, "builtin", verifying_program());
    }

    test::settings_folder folder{L"postwarden configured "};
    broker::access_rules rules{{test::own_account()}};
    configured_files files{folder.path / L"."};
};

TEST_F(ConfiguredFiles, AreInTheFolderWithoutABackslash)
{
    EXPECT_EQ(files.folder(), folder.path);
    EXPECT_EQ(files.settings(), folder.path / L"settings.json");
}

TEST_F(ConfiguredFiles, AgreeWhicheverIsWrittenFirst)
{
    add_service("1400");
    configure_broker(files, rules, "1400");
    EXPECT_EQ(port_of_options(), 1400);
    EXPECT_EQ(port_of_settings(), 1400);
    std::filesystem::remove(files.settings());
    configure_broker(files, rules, "");
    EXPECT_EQ(port_of_settings(), 1400);
    std::filesystem::remove(files.options());
    add_service("");
    EXPECT_EQ(port_of_options(), 1400);
}

TEST_F(ConfiguredFiles, TakeThePortThatTheAdministratorHasChosenSince)
{
    configure_broker(files, rules, "");
    EXPECT_EQ(port_of_settings(), 1345);
    write(files.settings(), R"({"ServerPort": {"value": 1500, "isSet": true}})");
    add_service("");
    EXPECT_EQ(port_of_options(), 1500);
    std::filesystem::remove(files.settings());
    write(files.options(), "port = 1600\nengine = builtin\n");
    configure_broker(files, rules, "");
    EXPECT_EQ(port_of_settings(), 1600);
}

TEST_F(ConfiguredFiles, AreNotWrittenWithAnotherPortThanTheOtherFile)
{
    configure_broker(files, rules, "1400");
    EXPECT_THROW(add_service("1500"), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(files.options()));
    std::filesystem::remove(files.settings());
    add_service("1500");
    EXPECT_THROW(configure_broker(files, rules, "1400"), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(files.settings()));
}

TEST_F(ConfiguredFiles, RemainWhateverPortIsWanted)
{
    add_service("1400");
    configure_broker(files, rules, "1400");
    add_service("1500");
    configure_broker(files, rules, "1500");
    EXPECT_EQ(port_of_options(), 1400);
    EXPECT_EQ(port_of_settings(), 1400);
}

TEST_F(ConfiguredFiles, DoNotTakeThePortOfAFileThatAnybodyCanChange)
{
    write(files.settings(), R"({"ServerPort": {"value": 1500, "isSet": true}})");
    test::set_list(files.settings(), L"D:P(A;;FA;;;WD)");
    add_service("");
    EXPECT_EQ(port_of_options(), 1345);
    configure_broker(files, rules, "");
    EXPECT_EQ(port_of_settings(), 1345);
}

TEST_F(ConfiguredFiles, ThatTheServiceRefusesAreRemovedAgain)
{
    EXPECT_THROW(configure_service(files, rules, "", "refuse", verifying_program()), std::invalid_argument);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
    EXPECT_THROW(configure_service(files, rules, "", "builtin", L"C:\\none.exe"), std::exception);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST_F(ConfiguredFiles, ThatTheServiceDoesNotVerifyAreAFailure)
{
    write(files.options(), "wait");
    const auto copy = folder.path / L"waiting.exe";
    std::filesystem::copy_file(verifying_program(), copy);
    try {
        (void)accepts_configuration(copy.wstring(), files.options().wstring(), std::chrono::seconds(1));
        ADD_FAILURE();
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "the service has not verified its configuration after 1 s, and was ended");
    }
    await_end_of(copy.wstring());
    EXPECT_TRUE(std::ofstream(copy, std::ios::app)); // no process runs it any more
}

} // namespace
} // namespace packaging
