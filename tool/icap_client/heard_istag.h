#pragma once

#include <mutex>
#include <string>

namespace icap::client {

/// The ISTag that any session of a pool heard last: the version of the signatures by which the service judges now.
/// Thread-safe.
class heard_istag
{
public:
    void set(const std::string& istag)
    {
        const std::lock_guard guard(lock_);
        istag_ = istag;
    }
    /// Returns an empty text if no answer had an ISTag.
    [[nodiscard]] std::string get() const
    {
        const std::lock_guard guard(lock_);
        return istag_;
    }

private:
    mutable std::mutex lock_;
    std::string istag_;
};

} // namespace icap::client
