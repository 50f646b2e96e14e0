#pragma once

#include "doctor/metrics_page.h"
#include "doctor/row.h"

#include <cstdint>
#include <string>
#include <vector>

namespace doctor {

/// The row of a service whose metrics are not asked for: its ISTag shows whether the builtin engine alone judges.
[[nodiscard]] finding engines_by_istag(const std::string& istag);

/// The row of a service with these engines. `now` is in seconds since 1970; signatures older than `days` are a warning.
[[nodiscard]] finding engines_by_metrics(const std::vector<engine_figures>& engines, std::int64_t now,
                                         std::uint32_t days);

} // namespace doctor
