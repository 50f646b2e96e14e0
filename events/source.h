#pragma once

#include "events/sink.h"

#include <cstdint>
#include <string>
#include <vector>

namespace events {

/// An event source by its name, registered with the event log of this machine for the lifetime of the object. If the
/// system refuses it, records are dropped.
class source final : public sink
{
public:
    explicit source(const std::wstring& name) noexcept;
    source(const source&) = delete;
    source& operator=(const source&) = delete;
    ~source() override;

    void report(severity kind, std::uint32_t id, std::vector<std::wstring> texts) noexcept override;

private:
    void* handle_;
};

} // namespace events
