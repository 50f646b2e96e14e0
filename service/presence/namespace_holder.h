#pragma once

#include "service/presence/hold_presence.h"
#include "tool/presence/namespace_functions.h"

namespace presence {

/// The sign on Windows: makes the service's private namespace and the mutex in it, and closes both at its end. The
/// system lets only a member of both boundary identities make the namespace, which is the local system's account.
class namespace_holder final : public holder
{
public:
    /// Raises std::runtime_error, and leaves nothing behind then.
    explicit namespace_holder(namespace_functions functions);
    namespace_holder(const namespace_holder&) = delete;
    namespace_holder& operator=(const namespace_holder&) = delete;
    ~namespace_holder() override;

private:
    object_handle make_namespace();

    namespace_functions functions_;
    object_handle space_ = nullptr;
    object_handle mutex_ = nullptr;
};

} // namespace presence
