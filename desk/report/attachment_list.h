#pragma once

#include "desk/run/opening_report.h"

#include <string>

namespace host {

/// Returns true if both states have the same attachments.
[[nodiscard]] bool same_attachments(const message_snapshot& left, const message_snapshot& right);

/// Returns the list of the attachments before the check: name, size, type, the service's answer, and whether each one
/// was kept, changed or taken.
[[nodiscard]] std::string attachments_before(const reported_opening& entry);

/// Returns the list of the attachments after the check: name, size, type, and whether each one was kept, changed or
/// added, and whether it is hidden.
[[nodiscard]] std::string attachments_after(const reported_opening& entry);

/// Returns the service's answer to an object, with the threat that it named; empty if it was judged and nothing was
/// found.
[[nodiscard]] std::string answer_text(const object_answer& answer);

} // namespace host
