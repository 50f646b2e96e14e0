#include "logging/configuration.h"
#include "logging/logging.h"
#include "logging/manager_state.h"
#include "logging/sinks.h"

#include <algorithm>
#include <stdexcept>

namespace logging {

namespace {

/// An unchanged destination keeps its sink, so that a change of levels does not open a file twice.
std::shared_ptr<line_sink> kept_or_opened(const routes& before, const sink_target& target)
{
    const auto same = [&target](const routes::configured_sink& entry) { return entry.target == target; };
    const auto found = std::find_if(before.configured.begin(), before.configured.end(), same);
    if (found != before.configured.end()) {
        return found->sink;
    }
    try {
        return open_sink(target);
    } catch (const std::exception& failure) {
        throw std::invalid_argument("logging configuration: \"" + target_text(target) + "\": " + failure.what());
    }
}

} // namespace

configurator& configurator::default_configurator()
{
    static configurator only;
    return only;
}

void configurator::configure(std::wstring_view text)
{
    const configuration wanted = parse_configuration(text);
    auto& manager = *log_manager::default_manager().state_;
    const std::lock_guard guard(manager.change_lock);
    const auto before = manager.current_routes();
    auto next = std::make_shared<routes>();
    next->added = before->added;
    next->configured_levels = wanted.levels;
    for (const auto& target : wanted.targets) {
        if (auto sink = kept_or_opened(*before, target)) {
            next->configured.push_back({target, std::move(sink)});
        }
    }
    manager.install(std::move(next));
}

} // namespace logging
