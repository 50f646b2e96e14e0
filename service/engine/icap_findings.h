#pragma once

#include "service/engine/icap_head.h"

#include <cstddef>
#include <optional>
#include <string>

namespace service {

/// Returns the name of the threat that a head reports in X-Infection-Found, X-Violations-Found or X-Virus-ID, in a form
/// suitable for a log line; nothing if it has none of these fields. A field that cannot be read counts as a report.
[[nodiscard]] std::optional<std::string> reported_threat(const icap_head& head);

/// Returns true if X-Infection-Found specifies that the threat was removed from the object that the answer contains.
[[nodiscard]] bool reports_repair(const icap_head& head);

/// What a server announces for a service in its answer to OPTIONS.
struct icap_options
{
    std::optional<std::size_t> preview; ///< bytes of a preview; none: no preview is to be sent
    std::optional<std::size_t> ttl;     ///< seconds for which the announcement is valid
    std::string istag;                  ///< without its quotes; may be empty
    std::size_t connections = 0;        ///< that the server serves at a time; 0: it does not say
};

/// Throws std::runtime_error with a text that describes why the service cannot judge objects.
[[nodiscard]] icap_options read_icap_options(const icap_head& head);

/// Returns the value of ISTag in a form suitable for a log line, without its quotes.
[[nodiscard]] std::string istag_of(const icap_head& head);

} // namespace service
