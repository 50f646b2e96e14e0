#pragma once

#include "tests/support/child_process.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace test {

/// Returns the port that a started service program reports; 0, as a failure, if it prints anything else.
inline std::uint16_t port_of(child_process& service)
{
    constexpr std::string_view heading = "listening on 127.0.0.1:";
    const std::string line = service.read_line().value_or("");
    std::uint16_t port = 0;
    if (line.starts_with(heading)) {
        std::from_chars(line.data() + heading.size(), line.data() + line.size(), port);
    }
    EXPECT_NE(port, 0) << line << service.errors();
    return port;
}

} // namespace test
