#include "desk/run/closed_pipe.h"

namespace host {

void end_by_closed_pipe() {}

} // namespace host
