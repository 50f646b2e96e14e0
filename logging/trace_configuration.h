#pragma once

namespace logging {

/// Applies the trace configuration in the machine's registry. Does nothing if the text is the one applied last, or
/// without the key or the value. Does not throw; a text that cannot be applied is logged in one line at level 200 of
/// the logger "outlook" and is not tried again. Thread-safe.
void apply_trace_configuration();

/// Reverts apply_trace_configuration(): the files are closed, and the same text will be applied again. A library calls
/// this before it is unloaded, so that nothing remains open. Thread-safe.
void close_trace_configuration() noexcept;

} // namespace logging
