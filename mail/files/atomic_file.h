#pragma once

#include <filesystem>
#include <functional>

namespace host {

/// Writes a file as a whole or not at all: `write` fills a temporary file beside `target`, which then takes the name.
/// What `write` raises leaves `target` as it was and no temporary file behind; a file system that refuses raises
/// std::filesystem::filesystem_error.
void write_atomically(const std::filesystem::path& target,
                      const std::function<void(const std::filesystem::path& temporary)>& write);

} // namespace host
