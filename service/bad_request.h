#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace service {

/// A request that can't be served; the connection ends with the answer.
class bad_request : public std::runtime_error
{
public:
    explicit bad_request(const std::string& why, std::uint32_t status = 400)
        : std::runtime_error(why)
        , status_(status)
    {}
    /// The status of the answer.
    [[nodiscard]] std::uint32_t status() const noexcept { return status_; }

private:
    std::uint32_t status_;
};

} // namespace service
