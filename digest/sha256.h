#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace digest {

/// Computes a SHA-256 digest piece by piece, by a library of the system. Not thread-safe.
class sha256
{
public:
    using value = std::array<unsigned char, 32>;

    /// All functions throw std::runtime_error if the library fails.
    sha256();
    sha256(const sha256&) = delete;
    sha256& operator=(const sha256&) = delete;
    ~sha256();

    void add(std::string_view piece);
    /// No data may be added afterwards.
    [[nodiscard]] value finish();

private:
    struct state;
    std::unique_ptr<state> state_;
};

/// Returns the digest in lower-case hexadecimal.
[[nodiscard]] std::string to_text(const sha256::value& digest);

} // namespace digest
