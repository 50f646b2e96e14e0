#pragma once

#include <cstdint>
#include <memory>

namespace icap::client {

/// Receives events about the messages that pass the processor. Called on pool threads.
class trace_provider
{
public:
    /// The head of a message has been received.
    static constexpr std::uint16_t message_received = 1;
    /// A complete message was passed to the session.
    static constexpr std::uint16_t message_processed = 2;

    [[nodiscard]] virtual bool enabled() const noexcept = 0;
    /// Writes an event with the `id` and `kind` of the message (icap::type_request or icap::type_response). Failures
    /// are ignored.
    virtual void write(std::uint16_t event, std::uint32_t id, std::uint32_t kind) noexcept = 0;
    virtual ~trace_provider() = default;
};

/// Returns the provider of the system's event tracing; on a system without it, a provider that is never enabled. It
/// exists as long as the process.
trace_provider& system_trace_provider();

} // namespace icap::client
