#include "desk/settings/settings_json.h"
#include "packaging/configure/configuration_texts.h"
#include "service/configuration/configuration_file.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace packaging {
namespace {

constexpr const char* log_file = R"(C:\ProgramData\postwarden\logs\service.log)";

TEST(BrokerSettings, AreReadAsTheyWereMeant)
{
    const auto settings = DOVA::Settings::SettingsFromJson(broker_settings(1400));
    EXPECT_EQ(settings.ServerPort.Effective(), 1400);
    DOVA::Settings::WebTrafficMonitorSettings others;
    others.ServerPort = settings.ServerPort;
    EXPECT_EQ(settings, others);
}

/// Returns a configuration as the service reads it: "KEY=VALUE" for each value, and the problems.
std::vector<std::string> read(const std::string& text)
{
    std::vector<std::string> found;
    const auto contents = service::parse_configuration(text, "service.conf");
    for (const auto& entry : contents.entries) {
        for (const auto& value : entry.values) {
            found.push_back(entry.key + "=" + value);
        }
    }
    found.insert(found.end(), contents.problems.begin(), contents.problems.end());
    return found;
}

using texts = std::vector<std::string>;

TEST(ServiceConfiguration, HasThePortAndTheEngineAndProposesALog)
{
    const std::string text = service_configuration(1400, "builtin", log_file);
    EXPECT_EQ(read(text), (texts{"port=1400", "engine=builtin"}));
    EXPECT_NE(text.find("\n# log = \"C:\\ProgramData\\postwarden\\logs\\service.log\"\n"), std::string::npos) << text;
}

TEST(ServiceConfiguration, HasSeveralEngines)
{
    EXPECT_EQ(read(service_configuration(1, "clamd:tcp:localhost:3310,icap://farm/avscan;builtin", log_file)),
              (texts{"port=1", "engine=clamd:tcp:localhost:3310,icap://farm/avscan", "engine=builtin"}));
}

TEST(ServiceConfiguration, RefusesEnginesThatNoFileCanContain)
{
    for (const char* engines : {"", ";", "builtin;", ";builtin", "a\"b", "a\nb", "a\rb"}) {
        EXPECT_THROW((void)service_configuration(1, engines, log_file), std::invalid_argument) << engines;
    }
}

} // namespace
} // namespace packaging
