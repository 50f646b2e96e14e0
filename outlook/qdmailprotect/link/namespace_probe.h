#pragma once

#include "outlook/qdmailprotect/link/presence_probe.h"
#include "tool/presence/namespace_functions.h"

/// Looks for the service's mutex in the private namespace that the service made.
class NamespaceProbe final : public PresenceProbe
{
public:
    explicit NamespaceProbe(presence::namespace_functions functions);

    /// True when the mutex exists. It is opened and closed, never waited for.
    [[nodiscard]] bool IsServicePresent() const override;
    /// The namespace of that alias, behind the service's boundary; null when it can't be had.
    [[nodiscard]] presence::object_handle OpenServiceNamespace(const wchar_t* alias) const;

private:
    presence::namespace_functions functions_;
};
