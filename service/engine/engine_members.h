#pragma once

#include "service/engine/scan_engine.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What the engines that consist of other engines have in common.
namespace service {

using engine_list = std::vector<std::shared_ptr<scan_engine>>;

/// Probes all engines at a time and returns their states in the same order. An exception counts as a fault.
[[nodiscard]] std::vector<engine_state> probe_all(const engine_list& engines, const stop_token& stop);

/// Returns the engines and whether they work; those that consist of others by their parts.
[[nodiscard]] std::vector<engine_part> parts_of(const engine_list& engines, const std::vector<engine_state>& states);

/// Returns a text that changes when the identity of any engine changes: names and identities in order, " | " between
/// the engines. A "|" or "\" in an identity is preceded by "\".
[[nodiscard]] std::string combined_identity(const engine_list& engines, const std::vector<engine_state>& states);

/// Appends "NAME: TEXT" to a list separated by "; ".
void append_named(std::string& list, std::string_view name, std::string_view text);

} // namespace service
