#include "packaging/configure/agreed_port.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace packaging {
namespace {

TEST(ConfiguredPort, IsANumberThatAServiceCanHave)
{
    EXPECT_EQ(port_of("1"), 1);
    EXPECT_EQ(port_of("65535"), 65535);
    for (const char* text : {"", "0", "65536", "-1", "+1", " 1", "1 ", "web", "1345x", "99999999999999999999"}) {
        EXPECT_THROW((void)port_of(text), std::invalid_argument) << text;
    }
}

TEST(PortOfService, IsThatOfItsConfiguration)
{
    EXPECT_EQ(port_of_service("# port = 1\nport = 1400\nengine = builtin\n"), 1400);
    EXPECT_EQ(port_of_service("port = \"1400\"\n"), 1400);
}

TEST(PortOfService, IsUnknownWhereNoneIsSpecifiedOrTheServiceDoesNotStart)
{
    for (const char* text : {"", "engine = builtin\n", "port = 0\n", "port = web\n", "port = 1400\n[section\n"}) {
        EXPECT_EQ(port_of_service(text), std::nullopt) << text;
    }
}

TEST(PortOfAddin, IsTheEffectiveOneOfItsSettings)
{
    EXPECT_EQ(port_of_addin(R"({"ServerPort": {"value": 1400, "isSet": true}})"), 1400);
    EXPECT_EQ(port_of_addin(R"({"ServerPort": {"value": 1400, "isSet": false}})"), 1345);
    EXPECT_EQ(port_of_addin("{}"), 1345);
}

TEST(PortOfAddin, IsUnknownWhereTheSettingsCannotBeRead)
{
    for (const char* text :
         {"", "{", "[]", R"({"ServerPort": {"value": "web", "isSet": true}})",
          R"({"ServerPort": {"value": 70000, "isSet": true}})", R"({"ServerPort": {"value": 0, "isSet": true}})"}) {
        EXPECT_EQ(port_of_addin(text), std::nullopt) << text;
    }
}

TEST(AgreedPort, IsPortThenThatOfTheOtherFileThenTheDefault)
{
    EXPECT_EQ(agreed_port("1400", {}, "settings.json"), 1400);
    EXPECT_EQ(agreed_port("1400", 1400, "settings.json"), 1400);
    EXPECT_EQ(agreed_port("", 1400, "settings.json"), 1400);
    EXPECT_EQ(agreed_port("", {}, "settings.json"), 1345);
}

TEST(AgreedPort, IsNoneOfTwoThatDiffer)
{
    try {
        (void)agreed_port("1400", 1345, "settings.json");
        ADD_FAILURE();
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(),
                     "PORT: settings.json is there already and specifies 1345: leave PORT out, or change "
                     "that file first");
    }
    EXPECT_THROW((void)agreed_port("web", {}, "settings.json"), std::invalid_argument);
}

} // namespace
} // namespace packaging
