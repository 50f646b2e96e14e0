#pragma once

#include "service/cause.h"
#include "service/engine/scan_engine.h"

#include <cstdint>
#include <optional>

namespace service {

/// What is done with an object about which there is no verdict.
enum class treatment
{
    pass, ///< the peer receives what makes it show the object unscanned
    block ///< the peer receives a notice in place of the object
};

/// The treatments that the administrator chose. That an engine is gone and that it cannot look into an object are
/// different fears, so they are treated independently.
struct policies
{
    treatment unreachable = treatment::pass; ///< no engine can judge, or none did in time
    treatment unchecked = treatment::pass;   ///< the engine works, but cannot look into the object

    /// Returns why an object with this verdict is withheld; nullopt if the verdict decides.
    [[nodiscard]] std::optional<cause> withhold(const verdict& outcome) const;
    /// The same for an object without a verdict in time.
    [[nodiscard]] std::optional<cause> withhold_late() const;
    /// The same for an object that was not read to its end, because of which the peer would receive this status.
    [[nodiscard]] std::optional<cause> withhold_unread(std::uint32_t status) const;
};

} // namespace service
