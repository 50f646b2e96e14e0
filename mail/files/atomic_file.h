#pragma once

#include <filesystem>
#include <functional>

namespace host {

/// Writes a file completely or not at all: `write` fills a temporary file in the folder of `target`, which is then
/// renamed to `target`. If `write` throws, `target` is unchanged and the temporary file is deleted. Throws
/// std::filesystem::filesystem_error if the file system reports an error.
void write_atomically(const std::filesystem::path& target,
                      const std::function<void(const std::filesystem::path& temporary)>& write);

} // namespace host
