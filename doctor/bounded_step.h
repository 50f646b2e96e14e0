#pragma once

#include "doctor/row.h"

#include <chrono>
#include <functional>
#include <optional>

namespace doctor {

/// Runs `step` on a thread of its own and returns what it found, or nothing if it has not ended after `longest`. The
/// thread then continues until the step returns, so `step` must own what it uses. An exception counts as a failure.
[[nodiscard]] std::optional<finding> within(std::chrono::milliseconds longest, std::function<finding()> step);

/// Returns true while a step that within() no longer waits for runs. The process must then end without destroying what
/// the step may use.
[[nodiscard]] bool is_step_left_behind() noexcept;

} // namespace doctor
