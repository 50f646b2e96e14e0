#pragma once

#include "desk/report/mail_frame.h"
#include "desk/report/remote_contents.h"
#include "desk/run/opening_report.h"

#include <cstddef>
#include <string>

namespace host {

/// Specifies how a message appears in the report.
struct section_form
{
    std::size_t number = 0;  ///< the message's number in the report, which identifies its section
    bool open = false;       ///< unfolded
    bool with_bodies = true; ///< false: the report has no room for more bodies
    frame_limits limits;
};

/// Returns the section of a changed message: what it was before and after the check, side by side. Adds what its bodies
/// requested from other computers to `blocked`.
[[nodiscard]] std::string message_section(const reported_opening& entry, const section_form& form,
                                          remote_contents& blocked);

} // namespace host
