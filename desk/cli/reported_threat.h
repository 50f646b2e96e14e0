#pragma once

#include "tool/icap_client/session.h"

#include <string>

namespace host {

/// Returns the name of the threat in the ICAP head of an answer: from X-Infection-Found, X-Virus-ID or
/// X-Violations-Found, in a form suitable for display. Empty if `answer` is null or names none.
[[nodiscard]] std::string reported_threat(const icap::client::session::answer_ptr& answer);

} // namespace host
