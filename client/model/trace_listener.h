#pragma once

#include <functional>
#include <string_view>

namespace host {

/// Hears the lines that code in this process sends to a debugger, while it lives; there is one at a time. Lines come on
/// the thread that sends them, without their line end, before the call that sends them returns. A debugger that really
/// watches the process takes them all for itself.
class trace_listener
{
public:
    using line_handler = std::function<void(std::string_view line)>;

    /// `heard` may be called by several threads, one after the other. It must not raise. Lines that it sends itself,
    /// as a log that goes to the debugger does, are swallowed.
    explicit trace_listener(line_handler heard);
    trace_listener(const trace_listener&) = delete;
    trace_listener& operator=(const trace_listener&) = delete;
    ~trace_listener();

private:
    void* handler_;
};

/// One line of an add-in's trace: "400 outlook 1234 text".
struct trace_line
{
    unsigned level = 0;
    std::string_view logger;
    std::string_view text;
};

/// Takes a line apart; level 0 when it is of another form.
trace_line parse_trace_line(std::string_view line);

} // namespace host
