#pragma once

#include <cstdint>
#include <memory>

namespace icap::client {

/// Where the processor tells which messages passed it. Called on pool threads.
class trace_provider
{
public:
    /// A message with its head has come.
    static constexpr std::uint16_t message_received = 1;
    /// A complete message was given to the session.
    static constexpr std::uint16_t message_processed = 2;

    [[nodiscard]] virtual bool enabled() const noexcept = 0;
    /// `id` and `kind` of the message (icap::type_request or icap::type_response). Failures are ignored.
    virtual void write(std::uint16_t event, std::uint32_t id, std::uint32_t kind) noexcept = 0;
    virtual ~trace_provider() = default;
};

/// The system's event tracing where there is one, otherwise a provider that is never enabled. Lives as long as the
/// process.
trace_provider& system_trace_provider();

} // namespace icap::client
