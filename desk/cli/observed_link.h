#pragma once

#include "desk/run/answer_record.h"
#include "outlook/qdmailprotect/link/connection_source.h"

#include <memory>

namespace host {

/// Returns a link that forwards everything to `real`, and records the answer to each object that is sent through its
/// sessions: a session returns a clean result for an exchange that failed.
std::shared_ptr<ConnectionSource> observe_answers(std::shared_ptr<ConnectionSource> real,
                                                  std::shared_ptr<answer_record> record);

} // namespace host
