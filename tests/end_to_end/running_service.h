#pragma once

#include "tests/support/child_process.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// A postwarden-service in a separate process, which the destructor kills.
class running_service
{
public:
    /// Port 0 selects any free one. Returns once the service listens. Throws std::runtime_error if it does not.
    explicit running_service(std::uint16_t port = 0, const std::vector<std::string>& arguments = {})
        : running_service(POSTWARDEN_SERVICE, joined({"--port", std::to_string(port)}, arguments))
    {}
    /// Starts the service by another program, which becomes the service.
    running_service(const std::string& program, const std::vector<std::string>& arguments)
        : process_(program, arguments)
    {
        constexpr std::string_view expected = "listening on 127.0.0.1:";
        const std::string line = process_.read_line().value_or("");
        if (!line.starts_with(expected)) {
            throw std::runtime_error("the service did not start: " + line + process_.errors());
        }
        port_ = static_cast<std::uint16_t>(std::stoul(line.substr(expected.size())));
    }

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] int id() const noexcept { return process_.id(); }
    /// Returns what the service has written to standard error so far.
    [[nodiscard]] std::string errors() const { return process_.errors(); }
    void send(int signal) { process_.kill(signal); }
    /// Ends the service with a signal and waits for its end.
    void end(int signal)
    {
        process_.kill(signal);
        if (!process_.wait()) {
            throw std::runtime_error("the service does not end");
        }
    }

private:
    static std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string>& second)
    {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    child_process process_;
    std::uint16_t port_ = 0;
};

} // namespace test
