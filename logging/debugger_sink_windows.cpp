#include "logging/sinks.h"

#include <windows.h>

namespace logging::detail {

namespace {

/// One call is one line; the system serialises the calls.
class debugger_sink final : public line_sink
{
public:
    void write(priority::level_type level, std::string_view logger_name, std::string_view text) override
    {
        const std::string line = written_line(level, logger_name, ::GetCurrentThreadId(), text) + "\n";
        ::OutputDebugStringA(line.c_str());
    }
};

} // namespace

std::shared_ptr<line_sink> open_debugger_sink()
{
    return std::make_shared<debugger_sink>();
}

} // namespace logging::detail
