#pragma once

#include "doctor/program_file.h"
#include "doctor/registry_view.h"
#include "doctor/row.h"

#include <string>

namespace doctor {

/// Whether the mail client loads the add-in, according to the registry.

/// The entry in the client's list of add-ins, and the class, for all users.
[[nodiscard]] finding addin_of_machine(registry_view& registry);
/// Entries of the current user take the place of those of the machine.
[[nodiscard]] finding addin_of_user(registry_view& registry);
/// The lists in which the client notes add-ins that crashed or were slow.
[[nodiscard]] finding disabled_lists(registry_view& registry);
/// The policy for managed add-ins.
[[nodiscard]] finding addin_policy(registry_view& registry);
/// The module that the class names. `version` is that of this program.
[[nodiscard]] finding addin_module(registry_view& registry, program_files& files, const std::string& version);
/// The module and the client must be built for the same machine.
[[nodiscard]] finding client_bitness(registry_view& registry, program_files& files);
/// Hardened scanning.
[[nodiscard]] finding hardened_mode(registry_view& registry);

} // namespace doctor
