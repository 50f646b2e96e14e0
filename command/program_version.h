#pragma once

#include <string_view>

namespace command {

/// Returns the version of the programs and the commit that they were built from: "0.1.0 (1f2e3d4c5b6a)", with "-dirty"
/// behind the commit if files differed from it. Only the version if the sources were in no repository.
[[nodiscard]] std::string_view program_version();

} // namespace command
