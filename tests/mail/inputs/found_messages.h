#pragma once

#include "mail/inputs/message_finder.h"

#include <filesystem>
#include <vector>

namespace host::test {

/// Returns all messages at a path. Throws unreadable_input for the first input that cannot be read.
inline std::vector<message_place> found_messages(const std::filesystem::path& path, bool recursive = false)
{
    message_finder finder({path.string()}, {recursive, {}});
    std::vector<message_place> found;
    while (auto place = finder.next()) {
        found.push_back(*place);
    }
    return found;
}

} // namespace host::test
