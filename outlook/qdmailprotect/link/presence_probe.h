#pragma once

#include <memory>

/// Tells whether the product's service holds its presence. Any thread may ask.
class PresenceProbe
{
public:
    /// False for whatever reason; what is amiss is logged. Raises nothing.
    [[nodiscard]] virtual bool IsServicePresent() const = 0;
    virtual ~PresenceProbe() = default;
};

/// The system's own way: a mutex in a private namespace on Windows, a locked file elsewhere.
[[nodiscard]] std::shared_ptr<const PresenceProbe> NewPresenceProbe();
