#pragma once

#include <memory>

/// Determines whether the product's service shows its presence. Thread-safe.
class PresenceProbe
{
public:
    /// Returns false on any failure, which is logged. Does not throw.
    [[nodiscard]] virtual bool IsServicePresent() const = 0;
    virtual ~PresenceProbe() = default;
};

/// Creates the probe of the platform: a mutex in a private namespace on Windows, a locked file elsewhere.
[[nodiscard]] std::shared_ptr<const PresenceProbe> NewPresenceProbe();
