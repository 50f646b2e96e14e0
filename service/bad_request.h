#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace service {

/// A request that cannot be served. The server closes the connection after the response.
class bad_request : public std::runtime_error
{
public:
    /// `level` is that of its line in the log.
    explicit bad_request(const std::string& why, std::uint32_t status = 400, std::uint32_t level = 200)
        : std::runtime_error(why)
        , status_(status)
        , level_(level)
    {}
    /// The status code of the response.
    [[nodiscard]] std::uint32_t status() const noexcept { return status_; }
    [[nodiscard]] std::uint32_t level() const noexcept { return level_; }

private:
    std::uint32_t status_;
    std::uint32_t level_;
};

} // namespace service
