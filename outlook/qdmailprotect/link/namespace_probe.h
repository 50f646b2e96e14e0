#pragma once

#include "outlook/qdmailprotect/link/presence_probe.h"
#include "tool/presence/namespace_functions.h"

/// Looks for the service's mutex in the private namespace that the service created.
class NamespaceProbe final : public PresenceProbe
{
public:
    explicit NamespaceProbe(presence::namespace_functions functions);

    /// Returns true if the mutex exists. The mutex is opened and closed but never acquired.
    [[nodiscard]] bool IsServicePresent() const override;
    /// Opens the namespace with the given alias within the service's boundary; returns null on failure.
    [[nodiscard]] presence::object_handle OpenServiceNamespace(const wchar_t* alias) const;

private:
    presence::namespace_functions functions_;
};
