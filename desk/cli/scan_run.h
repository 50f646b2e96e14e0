#pragma once

#include "desk/cli/scan_command.h"
#include "desk/run/console.h"
#include "desk/run/progress.h"
#include "mail/inputs/input_files.h"

#include <cstdint>
#include <string>

namespace host {

/// The files of one run of scans, with the progress of the run. Only one file's name is held at a time.
class scan_run
{
public:
    /// `options` and `where` must outlive the object.
    scan_run(const scan_options& options, const console& where);

    /// Returns the next file; once an empty name if no file was specified. Returns false at the end. An input that
    /// cannot be read is reported.
    bool next(std::string& file);
    /// Returns true if an input could not be read.
    [[nodiscard]] bool unreadable() const noexcept { return unreadable_; }

private:
    const console& where_;
    input_files files_;
    progress_line progress_;
    std::uint64_t begun_ = 0;
    std::uint64_t bytes_ = 0; ///< of the files that were returned before
    std::uint64_t size_ = 0;  ///< of the file that was returned last
    bool nameless_;           ///< a scan without a file is still to be returned
    bool unreadable_ = false;
};

} // namespace host
