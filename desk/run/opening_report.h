#pragma once

#include "desk/run/console.h"
#include "desk/run/opening.h"
#include "desk/run/snapshot.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

/// One opening, with the message before and after it.
struct reported_opening
{
    std::string file;
    std::uint32_t number = 1; ///< number of the opening of this message, starting at 1
    opening result;
    message_snapshot before;
    message_snapshot after;
    std::string changes;               ///< see describe_changes()
    std::vector<std::string> warnings; ///< what could not be read of the message
};

/// The totals of a run, apart from its openings.
struct opening_totals
{
    std::size_t unreadable = 0; ///< skipped
    std::size_t condemned = 0;  ///< openings of a message with something condemned
    std::size_t changed = 0;    ///< openings that changed the message
    std::size_t unanswered = 0; ///< openings in which an object lacks an answer
    std::size_t unjudged = 0;   ///< these, and openings in which an object with contents was never sent
    std::size_t saved = 0;      ///< copies that exist on disk
    std::size_t unsaved = 0;    ///< messages whose copy could not be written; at the end also the page
    std::uint64_t done = 0;     ///< messages that were opened as often as asked, or could not be read
    int stopped_by = 0;         ///< the signal that ended the run early; 0 if none did
    std::string folder;         ///< folder of the copies; empty if they are temporary
};

/// Reports openings as they occur.
class opening_report
{
public:
    virtual void add(const reported_opening& entry) = 0;
    /// Receives a message that was not opened, with the reason for display. The console shows it on standard error.
    virtual void add_unreadable(const std::string& /*file*/, const std::string& /*why*/) {}
    /// Must be called after the last opening.
    virtual void finish(const opening_totals& totals) = 0;
    virtual ~opening_report() = default;
};

/// Makes a report with one JSON object per line.
std::unique_ptr<opening_report> make_json_report(const console& where);
/// Makes a report with a table, whose first column is `name_columns` wide, and a summary.
std::unique_ptr<opening_report> make_table_report(const console& where, std::size_t name_columns);

} // namespace host
