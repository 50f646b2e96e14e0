#include "desk/cli/service_link.h"
#include "service/scan_server.h"
#include "settings/settings_blob.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace host::test {
namespace {

/// A service in this process.
class running_server
{
public:
    explicit running_server(const std::string& uri = "webscan")
        : server_([&uri] {
            service::server_options options;
            options.uri = uri;
            return options;
        }())
    {
        server_.start();
    }
    [[nodiscard]] std::uint16_t port() const { return server_.port(); }

private:
    service::scan_server server_;
};

std::string blob_of(std::uint16_t port, bool plugin = true)
{
    DOVA::Settings::WebTrafficMonitorSettings settings;
    settings.ServerPort.value = port;
    settings.ServerPort.isSet = true;
    settings.UseOutlookPlugin.value = plugin;
    settings.UseOutlookPlugin.isSet = true;
    const auto blob = DOVA::Settings::BlobFromSettings(settings);
    return {blob.begin(), blob.end()};
}

TEST(ServiceLink, ConnectsToThePortAndPathThatItIsGiven)
{
    const running_server server("other/path");
    const service_link link(server.port(), L"other/path");
    ScannerLink& real = *link.get();
    real.LoadSettings();
    real.ForceConnection(true);
    EXPECT_TRUE(real.IsConnected());
    EXPECT_EQ(server.port(), real.GetSettings()->ServerPort.Effective());
    EXPECT_EQ(L"other/path", real.GetSettings()->Uri.Effective());
    const auto pool = real.GetSessionManager();
    real.Stop();
    EXPECT_THROW(pool->query_session(), std::runtime_error);
}

TEST(ServiceLink, TellsTheLogAndTheUserThatNobodyAnswers)
{
    const service_link link(static_cast<std::uint16_t>(std::stoi(closed_port())), L"webscan");
    link.get()->LoadSettings();
    EXPECT_FALSE(link.refused());
    const ::test::log_capture log(200);
    link.get()->ForceConnection(true);
    EXPECT_FALSE(link.get()->IsConnected());
    EXPECT_TRUE(link.refused());
    EXPECT_TRUE(log.contains("Create scan session manager failed: "));
}

TEST(ServiceLink, ReadsItsFileAnewAtEachLoad)
{
    const temporary_folder folder;
    const running_server first;
    const running_server second;
    const auto file = folder.write("settings.blob", blob_of(first.port()));
    const service_link link(file);
    ScannerLink& real = *link.get();
    real.LoadSettings();
    real.ForceConnection(true);
    EXPECT_TRUE(real.IsConnected());
    folder.write("settings.blob", blob_of(second.port()));
    real.LoadSettings();
    EXPECT_FALSE(real.IsConnected()) << "the server has changed";
    folder.write("settings.blob", "no settings");
    real.ForceConnection(true);
    EXPECT_TRUE(real.IsConnected());
    EXPECT_EQ(second.port(), real.GetSettings()->ServerPort.Effective()) << "the old record stays";
    EXPECT_FALSE(link.refused());
}

class OpenWithSettings : public testing::Test
{
protected:
    temporary_folder folder;
    std::string mail = folder.write("a.eml", "Subject: a\n\n" + condemned_text() + "\n").string();
};

TEST_F(OpenWithSettings, TakesTheServiceFromABlob)
{
    const running_server server;
    const auto settings = folder.write("settings.blob", blob_of(server.port())).string();
    const auto result = command({"open", "--json", "--settings", settings, mail});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(2, result.json().at(0)["verdict"]);
}

TEST_F(OpenWithSettings, TakesTheServiceFromJson)
{
    const running_server server("other/path");
    const auto settings = folder
                              .write("settings.json", "{\"ServerPort\": {\"value\": " + std::to_string(server.port()) +
                                                          ", \"isSet\": true}, \"Uri\": {\"value\": "
                                                          "\"other/path\", \"isSet\": true}}")
                              .string();
    const auto result = command({"open", "--json", "--settings", settings, mail});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(2, result.json().at(0)["verdict"]);
}

TEST_F(OpenWithSettings, ScansNothingWhenTheyTurnThePluginOff)
{
    const running_server server;
    const auto settings = folder.write("settings.blob", blob_of(server.port(), false)).string();
    const auto result = command({"open", "--json", "--settings", settings, mail});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(0, result.json().at(0)["verdict"]);
    EXPECT_EQ("0x80004002", result.json().at(0)["hr"]);
}

TEST_F(OpenWithSettings, SaysThatNobodyAnswersWhereTheyPoint)
{
    const std::string port = closed_port();
    const auto settings = folder.write("settings.blob", blob_of(static_cast<std::uint16_t>(std::stoi(port)))).string();
    const auto result = command({"open", "--json", "--settings", settings, mail});
    EXPECT_EQ(4, result.status);
    EXPECT_EQ("postwarden: 127.0.0.1:" + port + ": no scanning service answers there\n", result.err);
    EXPECT_EQ(0, result.json().at(0)["verdict"]);
}

TEST_F(OpenWithSettings, RefusesAFileThatIsNoneBeforeAnythingIsOpened)
{
    const auto broken = folder.write("broken.blob", "no settings").string();
    for (const std::string& file :
         {broken, folder.write("broken.json", "{\"ServerPort\": 1}").string(), (folder.path() / "missing").string()}) {
        const auto result = command({"open", "--json", "--settings", file, mail});
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.out);
        ASSERT_EQ(1U, lines_of(result.err).size());
        EXPECT_EQ(0U, result.err.find("postwarden: " + file + ": ")) << result.err;
    }
    // The text for users does not contain the source location of the error.
    EXPECT_EQ("postwarden: " + broken + ": holds no settings blob\n",
              command({"open", "--settings", broken, mail}).err);
}

TEST_F(OpenWithSettings, TakesEitherAFileOrAPortAndPath)
{
    const auto settings = folder.write("settings.blob", blob_of(1)).string();
    EXPECT_EQ(2, command({"open", "--settings", settings, "--port", "1", mail}).status);
    EXPECT_EQ(2, command({"open", "--settings", settings, "--uri", "x", mail}).status);
}

} // namespace
} // namespace host::test
