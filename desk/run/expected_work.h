#pragma once

#include "mail/inputs/folder_walk.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What is known of the messages of a run before the first one is opened.
struct expected_work
{
    std::size_t widest_name = 0;           ///< terminal columns of the longest name
    std::optional<std::uint64_t> messages; ///< unknown if there is an mbox or a stream
    std::optional<std::uint64_t> bytes;    ///< on disk; unknown if there is a stream
};

/// Examines the names of the inputs, and the sizes of the files if `with_sizes`. Opens only files whose name does not
/// show whether they are an mbox. Inputs that cannot be read are left out. Folders so large or so slow that this takes
/// more than 0.8 seconds are examined in part; the numbers are then unknown.
expected_work expect_work(const std::vector<std::string>& paths, bool recursive, bool with_sizes,
                          wanted_files wanted = wanted_files::mail);

} // namespace host
