#pragma once

#include "service/scan_server.h"
#include "tests/end_to_end/desk.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test {

/// A service in this process with a fault, and a reader who opens mail with it. By default the reader is more patient
/// than any service here, so that the service decides what happens.
class fault_desk : public testing::Test
{
protected:
    static constexpr std::uint32_t patient = 60000; ///< milliseconds

    fault_desk();

    /// Starts the service with `options`, and a reader who waits for that time.
    void start(std::uint32_t patience = patient);
    [[nodiscard]] service::scan_server& server() { return *server_; }

    /// Open a message that contains the standard antivirus test file, or none. Each is another message.
    host::opening open_condemned();
    host::opening open_harmless();

    /// The message opened though nobody judged it: the service answered with an error.
    void expect_unscanned(const host::opening& opened) const;
    static void expect_condemned(const host::opening& opened);
    /// The openings that follow a fault have the right outcome.
    void expect_next_is_right();

    /// Waits for a line of the service with this level that contains the text. Fails if none comes.
    void expect_line(std::uint32_t level, std::string_view text) const;
    [[nodiscard]] bool has_line(std::uint32_t level, std::string_view text) const;
    /// Returns the number of such lines.
    [[nodiscard]] int count_lines(std::uint32_t level, std::string_view text) const;

    service::server_options options;
    log_capture log;

private:
    std::unique_ptr<service::scan_server> server_;
    std::unique_ptr<desk> desk_;
};

/// Opens a message that contains the standard antivirus test file, or none, as a new one.
host::opening open_condemned(desk& reader);
host::opening open_harmless(desk& reader);

/// Returns a reader who waits for that time, in milliseconds.
std::unique_ptr<desk> reader_at(std::uint16_t port, std::uint32_t patience);

} // namespace test
