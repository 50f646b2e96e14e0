#pragma once

#include <functional>
#include <string_view>

namespace host {

/// Receives the lines that code in this process sends to a debugger, for the lifetime of the object. Only one listener
/// may exist at a time. Lines arrive on the sending thread, without their line end, before the sending call returns. A
/// debugger that is attached to the process intercepts all of them.
class trace_listener
{
public:
    using line_handler = std::function<void(std::string_view line)>;

    /// `heard` may be called by several threads, but never by two at once. It must not throw. Lines that it sends
    /// itself, as a log directed to the debugger does, are discarded.
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

/// Parses a line. The level is 0 if the line has another form.
trace_line parse_trace_line(std::string_view line);

} // namespace host
