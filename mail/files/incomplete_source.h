#pragma once

#include "store/message_record.h"

#include <filesystem>

namespace host {

/// Throws std::runtime_error with the reason if `message` was not read completely from the file that `target` denotes:
/// writing it there would delete the parts that could not be read.
void expect_not_its_source(const message_record& message, const std::filesystem::path& target);

} // namespace host
