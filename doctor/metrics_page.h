#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace doctor {

/// What the metrics of the service contain about one of its engines.
struct engine_figures
{
    std::string name;
    std::string number;
    bool up = false;
    std::string version;                    ///< empty if it is not known
    std::optional<std::int64_t> signatures; ///< when they were made, in seconds since 1970
};

/// Returns the engines in an HTTP answer with the metrics of the service, by their numbers. Throws std::runtime_error
/// if it is no such answer.
[[nodiscard]] std::vector<engine_figures> engines_in(std::string_view answer);

} // namespace doctor
