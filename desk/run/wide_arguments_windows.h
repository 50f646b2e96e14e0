#pragma once

#include <string>
#include <vector>

namespace host {

/// Returns the arguments of wmain() in UTF-8, the program's name among them.
[[nodiscard]] std::vector<std::string> utf8_arguments(int count, const wchar_t* const* arguments);

} // namespace host
