#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace host {

/// A SHA-256 digest that grows with what is added. One thread at a time.
class sha256
{
public:
    /// Raises std::runtime_error when the system has no such digest.
    sha256();
    sha256(const sha256&) = delete;
    sha256& operator=(const sha256&) = delete;
    ~sha256();

    void add(const void* data, std::size_t size);
    /// The digest in lower-case hexadecimal; nothing can be added afterwards.
    std::string finish();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace host
