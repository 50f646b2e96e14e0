#pragma once

#include "service/configuration/configuration.h"
#include "service/scan_server.h"
#include "service/scoped_output.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace service {

/// Reads the configuration of a running service again. All functions must be called by the thread that started the
/// server.
class reloader
{
public:
    /// Adapts options to what the system allows.
    using adapter = std::function<void(server_options& settings)>;

    /// `server` runs with `current`, and `log` is its log. Both must outlive the object.
    reloader(configuration_reader reader, configuration current, adapter adapt, scan_server& server,
             std::unique_ptr<logging::scoped_output>& log);

    /// Reads all sources again and applies what has changed and can change at run time. If anything is wrong,
    /// everything remains as it is. Opens the log file anew, so that it can be renamed before. Writes the result to the
    /// log. Returns nothing if the options apply now, otherwise the reason. Never throws.
    std::optional<std::string> reload() noexcept;

private:
    std::optional<std::string> reload_or_raise();

    configuration_reader reader_;
    configuration current_;
    adapter adapt_;
    scan_server& server_;
    std::unique_ptr<logging::scoped_output>& log_;
};

} // namespace service
