#include "tool/icap_client/trace_provider.h"

#include <windows.h>

#include <array>
#include <evntprov.h>

namespace icap::client {

namespace {

/// {6D0B7D0E-3C7F-4E57-9C1B-5B1E0C3E7A42}
constexpr GUID provider_id = {0x6d0b7d0e, 0x3c7f, 0x4e57, {0x9c, 0x1b, 0x5b, 0x1e, 0x0c, 0x3e, 0x7a, 0x42}};
constexpr UCHAR level_information = 4;

EVENT_DESCRIPTOR descriptor_of(std::uint16_t event) noexcept
{
    EVENT_DESCRIPTOR descriptor{};
    descriptor.Id = event;
    descriptor.Level = level_information;
    return descriptor;
}

class event_trace final : public trace_provider
{
public:
    event_trace() noexcept
    {
        if (EventRegister(&provider_id, nullptr, nullptr, &handle_) != ERROR_SUCCESS) {
            handle_ = 0;
        }
    }
    event_trace(const event_trace&) = delete;
    event_trace& operator=(const event_trace&) = delete;
    ~event_trace() override
    {
        if (handle_ != 0) {
            EventUnregister(handle_);
        }
    }

    [[nodiscard]] bool enabled() const noexcept override
    {
        return handle_ != 0 && EventProviderEnabled(handle_, level_information, 0) != FALSE;
    }

    void write(std::uint16_t event, std::uint32_t id, std::uint32_t kind) noexcept override
    {
        const EVENT_DESCRIPTOR descriptor = descriptor_of(event);
        std::array<EVENT_DATA_DESCRIPTOR, 2> data{};
        EventDataDescCreate(&data[0], &id, sizeof id);
        EventDataDescCreate(&data[1], &kind, sizeof kind);
        EventWrite(handle_, &descriptor, static_cast<ULONG>(data.size()), data.data());
    }

private:
    REGHANDLE handle_ = 0;
};

} // namespace

trace_provider& system_trace_provider()
{
    static event_trace provider;
    return provider;
}

} // namespace icap::client
