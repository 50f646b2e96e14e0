#include "client/model/trace_listener.h"

#include <windows.h>

#include <charconv>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

/// The system's code for sending a line to a debugger: an exception that the sender handles if nobody else does.
constexpr DWORD debugger_line = 0x40010006;

struct listening
{
    std::recursive_mutex lock;
    trace_listener::line_handler heard;
    bool hears = false; ///< a line is being handled, by the thread that holds the lock
};

listening& of_process()
{
    static listening only;
    return only;
}

LONG CALLBACK listen(EXCEPTION_POINTERS* raised)
{
    const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
    if (record.ExceptionCode != debugger_line || record.NumberParameters != 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    std::string_view line(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    while (line.ends_with('\n') || line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    listening& only = of_process();
    const std::lock_guard guard(only.lock);
    if (only.heard && !only.hears) {
        only.hears = true;
        only.heard(line);
        only.hears = false;
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

std::string_view take_word(std::string_view& text)
{
    const std::size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return word;
}

} // namespace

trace_listener::trace_listener(line_handler heard)
{
    listening& only = of_process();
    const std::lock_guard guard(only.lock);
    only.heard = std::move(heard);
    handler_ = AddVectoredExceptionHandler(1, listen);
    if (!handler_) {
        throw std::runtime_error("the add-in's trace cannot be heard");
    }
}

trace_listener::~trace_listener()
{
    RemoveVectoredExceptionHandler(handler_);
    listening& only = of_process();
    const std::lock_guard guard(only.lock);
    only.heard = nullptr;
}

trace_line parse_trace_line(std::string_view line)
{
    trace_line result;
    const std::string_view level = take_word(line);
    unsigned number = 0;
    const auto [end, problem] = std::from_chars(level.data(), level.data() + level.size(), number);
    if (problem != std::errc() || end != level.data() + level.size()) {
        return result;
    }
    result.logger = take_word(line);
    take_word(line); // the thread
    result.text = line;
    result.level = number;
    return result;
}

} // namespace host
