#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace host {

/// Computes a SHA-256 digest incrementally. Not thread-safe.
class sha256
{
public:
    /// Throws std::runtime_error if the system does not provide the digest.
    sha256();
    sha256(const sha256&) = delete;
    sha256& operator=(const sha256&) = delete;
    ~sha256();

    void add(const void* data, std::size_t size);
    /// Returns the digest in lower-case hexadecimal. No data may be added afterwards.
    std::string finish();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace host
