#pragma once

namespace logging {

/// Applies the trace configuration that the machine's registry holds, unless it is the text applied last: then, and
/// without a key or a value, nothing happens. No exception comes out; a text that cannot be applied is told in one
/// line at level 200 of the logger "outlook" and is not tried again. May be called from any thread.
void apply_trace_configuration();

/// Ends what apply_trace_configuration has put in force: the files are closed, and the same text will be applied anew.
/// A library that is about to be unloaded leaves nothing open by this. May be called from any thread.
void close_trace_configuration() noexcept;

} // namespace logging
