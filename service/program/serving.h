#pragma once

#include "service/configuration/configuration.h"
#include "service/happenings.h"
#include "service/scan_server.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace service {

inline constexpr int usage_error = 2; ///< the options are wrong
inline constexpr int run_error = 1;   ///< the service could not run

/// Who runs the service: learns how far it is, and decides when it ends. All functions are called by one thread.
class supervisor
{
public:
    /// Reads the configuration again. Returns nothing if it applies now, otherwise the reason.
    using reload_function = std::function<std::optional<std::string>()>;

    /// The ports accept connections.
    virtual void listening(const scan_server& server, const server_options& settings) = 0;
    /// Calls `reload` whenever the configuration is to be read again. Returns when the service is to end.
    virtual void wait(const reload_function& reload) = 0;
    /// The connections are about to be closed.
    virtual void stopping() = 0;
    /// Returns who learns what happens to the server; null for nobody.
    [[nodiscard]] virtual std::shared_ptr<happenings> listener() = 0;
    virtual ~supervisor() = default;
};

/// Serves until the supervisor ends it. Throws an exception derived from std::exception if the service cannot run.
void serve(const configuration_reader& reader, const configuration& read, supervisor& by);

/// Why a service could not run.
struct run_failure
{
    int status = run_error;            ///< exit status of the program
    std::vector<std::string> problems; ///< at least one
};

/// Calls `action`. Returns what its exception means, nothing if it throws none.
[[nodiscard]] std::optional<run_failure> failure_of_run(const std::function<void()>& action);

} // namespace service
