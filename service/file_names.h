#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace service {

/// Returns the names under which a file with the name `name` may be stored or shown, without case, for comparisons with
/// patterns: without its folders, with what Windows ignores or takes for the end of a name cut off, and without
/// characters that are not visible, such as those that reverse the direction of writing. Of a name of more than 1024
/// characters the first and the last 512 are used. Empty if nothing is left.
[[nodiscard]] std::vector<std::u32string> file_names(std::string_view name);

} // namespace service
