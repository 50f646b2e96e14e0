#include "service/engine/clamd_engine.h"
#include "service/engine/scan_engine.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

using service::make_engine;

std::string refusal(std::string_view text)
{
    try {
        (void)make_engine(text);
    } catch (const std::invalid_argument& failure) {
        return failure.what();
    }
    return "accepted";
}

TEST(make_engine, makes_the_engines_that_there_are)
{
    EXPECT_EQ(make_engine("builtin")->name(), "builtin");
    for (const std::string_view text : {"clamd:tcp:127.0.0.1:3310", "clamd:tcp:localhost:1",
                                        "clamd:tcp:127.3.2.1:65535", "clamd:tcp:::1:3310", "clamd:tcp:[::1]:3310"}) {
        EXPECT_EQ(make_engine(text)->name(), "clamd") << text;
    }
}

TEST(make_engine, refuses_what_it_does_not_know)
{
    const std::pair<std::string_view, std::string_view> refusals[] = {
        {"", "unknown engine ''"},
        {"Builtin", "unknown engine 'Builtin'"},
        {"builtin ", "unknown engine 'builtin '"},
        {"clamd", "unknown engine 'clamd'"},
        {"clamd:udp:127.0.0.1:3310", "unknown engine 'clamd:udp:127.0.0.1:3310'"},
        // Mail is sent to no other machine.
        {"clamd:tcp:192.0.2.1:3310", "'192.0.2.1' is not a loopback address"},
        {"clamd:tcp:0.0.0.0:3310", "'0.0.0.0' is not a loopback address"},
        {"clamd:tcp:[::]:3310", "'::' is not a loopback address"},
        {"clamd:tcp:example.org:3310", "'example.org' is not a loopback address"},
        {"clamd:tcp::3310", "'' is not a loopback address"},
        // What is no port.
        {"clamd:tcp:localhost", "the port of clamd is missing"},
        {"clamd:tcp:localhost:", "'' is not a port"},
        {"clamd:tcp:localhost:0", "port 0 is none to connect to"},
        {"clamd:tcp:localhost:65536", "'65536' is not a port"},
        {"clamd:tcp:localhost:-1", "'-1' is not a port"},
        {"clamd:tcp:localhost:3310x", "'3310x' is not a port"},
        {"clamd:tcp:localhost: 3310", "' 3310' is not a port"},
    };
    for (const auto& [text, reason] : refusals) {
        EXPECT_EQ(refusal(text), reason) << text;
    }
}

} // namespace
