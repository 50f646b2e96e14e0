#pragma once

namespace host {

/// Ends the process as the system does when it writes to a pipe that nobody reads any more. Deletes what is unfinished
/// before. Returns if the process was started so that it learns of such a pipe by an error, or if the system has no
/// such end.
void end_by_closed_pipe();

} // namespace host
