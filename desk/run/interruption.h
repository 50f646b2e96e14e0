#pragma once

#include "desk/run/console.h"
#include "mail/inputs/byte_stream.h"

#include <cstdint>
#include <memory>

namespace host {

/// Takes the requests of the user or of the system to end the process, while the object exists: SIGINT and SIGTERM
/// unless the process was started so that it ignores them, on Windows those of the console. Only one object may exist
/// at a time, and it must be made before other threads.
///
/// After the first request the command ends behind the object at hand. If that takes more than a moment, the object is
/// given up: what is unfinished is deleted, and the process ends with the exit status of the request. The second
/// request deletes what is unfinished and ends the process at once. On Windows the object at hand is never given up,
/// and nothing is deleted at the second request.
class interruption
{
public:
    /// What follows the first request.
    enum class first_request
    {
        finishes_object,
        ends_process ///< at once, as the second request
    };

    /// `where` must outlive the object.
    explicit interruption(const console& where, first_request effect = first_request::finishes_object);
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;
    ~interruption();

    /// Returns the number of the signal that was received; 0 if there was none, or if no object exists.
    [[nodiscard]] static int signal() noexcept;
    /// Returns the limits of inputs whose reads are given up after the first request.
    [[nodiscard]] static stream_limits limits_of_inputs()
    {
        stream_limits limits;
        limits.is_given_up = [] { return signal() != 0; };
        return limits;
    }
    /// Specifies how far the command has come, for the report when the object at hand is given up. `total` is 0 if it
    /// is unknown. `objects` is a literal, "messages".
    static void set_progress(std::uint64_t done, std::uint64_t total, const char* objects) noexcept;

private:
    class watch;
    std::unique_ptr<watch> watch_;
};

} // namespace host
