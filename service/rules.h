#pragma once

#include <cstdint>

namespace service {

struct list_options;
struct policies;

/// Returns a number that differs for different lists and policies; 0 for those of a service without any. Verdicts are
/// comparable only while it is the same.
[[nodiscard]] std::uint64_t number_of_rules(const list_options& lists, const policies& policy);

} // namespace service
