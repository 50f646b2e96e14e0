#pragma once

#include "service/presence/hold_presence.h"
#include "tool/presence/namespace_functions.h"

namespace presence {

/// The indication on Windows: creates the service's private namespace and the mutex in it, and closes both on
/// destruction. The system allows only a member of both boundary identities to create the namespace; that is the local
/// system account.
class namespace_holder final : public holder
{
public:
    /// Throws std::runtime_error. In that case nothing is left behind.
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
