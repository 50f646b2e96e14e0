#pragma once

#include "store/storage_tree.h"

#include <functional>
#include <string_view>

namespace host::msg {

/// Passes the bytes of a compound file, from the first to the last one, to `write`. Time and memory are proportional to
/// the number of parts and to the size, apart from the sorting of names. Throws std::runtime_error with the reason if
/// the contents do not fit into the format or cannot be read, and what `write` throws.
void write_storages(const storage_tree& contents, const std::function<void(std::string_view bytes)>& write);

} // namespace host::msg
