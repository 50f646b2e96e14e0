#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace service {

/// A request that cannot be served. The server closes the connection after the response.
class bad_request : public std::runtime_error
{
public:
    explicit bad_request(const std::string& why, std::uint32_t status = 400)
        : std::runtime_error(why)
        , status_(status)
    {}
    /// The status code of the response.
    [[nodiscard]] std::uint32_t status() const noexcept { return status_; }

private:
    std::uint32_t status_;
};

} // namespace service
