#pragma once

#include "logging/logging.h"

#include <memory>
#include <optional>
#include <string>

namespace logging {

/// Writes the lines of all loggers to a destination that a command line specifies, while this object exists.
class scoped_output
{
public:
    /// `file` is a UTF-8 path; empty means standard error, in the form of the journal if that is where it leads.
    /// Without a file and a level nothing is written; a file alone takes lines up to priority::course. Throws
    /// std::runtime_error if the file cannot be opened.
    scoped_output(const std::string& file, std::optional<priority::level_type> level);
    /// Writes nothing ahead of open() and begin().
    scoped_output();
    scoped_output(const scoped_output&) = delete;
    scoped_output& operator=(const scoped_output&) = delete;
    ~scoped_output();

    /// Opens the destination, as the constructor does. Must be called once, for an object that was made without one.
    void open(const std::string& file, std::optional<priority::level_type> level);
    /// Returns why the first line that could not be written was lost; empty if none was.
    [[nodiscard]] std::string failure() const;
    /// Writes the lines from now on. Must be called once, after open().
    void begin();

private:
    class watched_sink;
    std::shared_ptr<watched_sink> sink_; ///< null if nothing is to be written
    priority::level_type level_ = priority::course;
};

} // namespace logging
