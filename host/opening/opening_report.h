#pragma once

#include "host/opening/console.h"
#include "host/opening/opening.h"
#include "host/opening/snapshot.h"

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

/// Tells of the openings as they come.
class opening_report
{
public:
    virtual void add(const reported_opening& entry) = 0;
    /// After the last one; `unreadable` messages were left out.
    virtual void finish(std::size_t unreadable) = 0;
    virtual ~opening_report() = default;
};

/// One JSON object a line.
std::unique_ptr<opening_report> make_json_report(const console& where);
/// A table whose first column is `name_columns` wide, and a summary.
std::unique_ptr<opening_report> make_table_report(const console& where, std::size_t name_columns);

} // namespace host
