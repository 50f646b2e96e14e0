#pragma once

#include "client/mailhost/change_journal.h"
#include "desk/run/open_options.h"

#include <optional>
#include <vector>

namespace host {

/// Changes values of the machine's registry for the lifetime of the object. The destructor restores the former values
/// and deletes the keys that were created. What a process that was killed had changed is restored by the next one.
/// Requires write access below HKEY_LOCAL_MACHINE. One object at a time in a process.
class machine_values
{
public:
    /// Restores what processes that no longer run have left changed. Without write access this has no effect.
    machine_values();
    machine_values(const machine_values&) = delete;
    machine_values& operator=(const machine_values&) = delete;
    ~machine_values();

    /// Throws std::runtime_error if the system denies the change.
    void set(const registry_value& wanted);

private:
    std::optional<change_journal> journal_; ///< set with the first change
    std::vector<registry_change> changes_;
};

} // namespace host
