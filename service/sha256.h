#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

namespace service {

/// Computes a SHA-256 digest piece by piece, by a library of the system. Not thread-safe.
class sha256
{
public:
    using digest = std::array<unsigned char, 32>;

    /// All functions throw std::runtime_error if the library fails.
    sha256();
    sha256(const sha256&) = delete;
    sha256& operator=(const sha256&) = delete;
    ~sha256();

    void add(std::string_view piece);
    /// No data may be added afterwards.
    [[nodiscard]] digest finish();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace service
