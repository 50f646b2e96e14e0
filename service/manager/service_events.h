#pragma once

#include "events/sink.h"
#include "service/happenings.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace manager {

/// Reports what happens to a service as records of the event log; service_messages.mc contains their texts. A record
/// contains no name of an object, no subject and no address of a peer or an engine. Thread-safe.
class service_events final : public service::happenings
{
public:
    explicit service_events(std::shared_ptr<events::sink> log)
        : log_(std::move(log))
    {}

    /// `engines` are those of the options, of which only the kinds are reported.
    void started(std::uint16_t port, const std::vector<std::string>& engines);
    void stopped();
    void failed(const std::vector<std::string>& problems);
    void reloaded();
    void reload_refused(const std::string& why);

    void engine_unreachable() noexcept override;
    void engine_reachable() noexcept override;
    void engine_part_unreachable() noexcept override;
    void all_engine_parts_reachable() noexcept override;
    void full() noexcept override;

private:
    std::shared_ptr<events::sink> log_;
};

/// Returns the kinds of engines, such as "clamd or icap, builtin".
[[nodiscard]] std::string engine_kinds(const std::vector<std::string>& engines);

} // namespace manager
