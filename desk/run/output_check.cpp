#include "desk/run/output_check.h"

#include "desk/run/closed_pipe.h"

#include <cerrno>
#include <system_error>

namespace host {

void flush_output(const console& where)
{
    if (where.out) {
        errno = 0; // otherwise it is still the one of the write that has failed
    }
    where.out.flush();
    if (!where.out) {
        const int error = errno;
        if (error == EPIPE) {
            end_by_closed_pipe();
        }
        throw output_failure("standard output",
                             error == 0 ? "it cannot be written" : std::generic_category().message(error));
    }
}

exit_status report_output_failure(const console& where, const output_failure& failure)
{
    report(where, failure.target(), failure.what());
    return exit_status::failed;
}

} // namespace host
