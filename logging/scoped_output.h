#pragma once

#include "logging/logging.h"

#include <memory>
#include <optional>
#include <string>

namespace logging {

/// Writes the lines of all loggers to where somebody at a command line wants them, while it lives.
class scoped_output
{
public:
    /// `file` is a UTF-8 path; empty means standard error. Without a file and a level nothing is written; a file alone
    /// takes lines up to priority::course. Raises std::runtime_error when the file can't be opened.
    scoped_output(const std::string& file, std::optional<priority::level_type> level);
    scoped_output(const scoped_output&) = delete;
    scoped_output& operator=(const scoped_output&) = delete;
    ~scoped_output();

private:
    std::shared_ptr<line_sink> sink_;
};

} // namespace logging
