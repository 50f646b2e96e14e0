#pragma once

#include "desk/run/console.h"

#include <stdexcept>
#include <string>

namespace host {

/// What a command was asked to write cannot be written, so that the run ends.
class output_failure : public std::runtime_error
{
public:
    /// `target` is what cannot be written to, for display.
    output_failure(std::string target, const std::string& why)
        : std::runtime_error(why)
        , target_(std::move(target))
    {}
    [[nodiscard]] const std::string& target() const noexcept { return target_; }

private:
    std::string target_;
};

/// Passes on what was written to standard output. Throws output_failure if it could not be written.
void flush_output(const console& where);

/// Reports the failure, and returns the exit status.
exit_status report_output_failure(const console& where, const output_failure& failure);

} // namespace host
