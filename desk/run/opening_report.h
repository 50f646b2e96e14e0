#pragma once

#include "desk/run/console.h"
#include "desk/run/opening.h"
#include "desk/run/snapshot.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace host {

/// One opening with what surrounds it.
struct reported_opening
{
    std::string file;
    std::uint32_t number = 1; ///< of this message's openings, from 1
    opening result;
    message_snapshot before;
    message_snapshot after;
};

/// What came of many messages, beside their openings.
struct opening_totals
{
    std::size_t unreadable = 0; ///< left out
    std::size_t saved = 0;      ///< copies that stand on disk
    std::size_t unsaved = 0;    ///< messages whose copy could not be written
    std::string folder;         ///< where the copies stand; empty when they don't stay
};

/// The exit status that follows from them.
exit_status status_of(const opening_totals& totals);

/// Tells of the openings as they come.
class opening_report
{
public:
    virtual void add(const reported_opening& entry) = 0;
    /// After the last one.
    virtual void finish(const opening_totals& totals) = 0;
    virtual ~opening_report() = default;
};

/// One JSON object a line.
std::unique_ptr<opening_report> make_json_report(const console& where);
/// A table whose first column is `name_columns` wide, and a summary.
std::unique_ptr<opening_report> make_table_report(const console& where, std::size_t name_columns);

} // namespace host
