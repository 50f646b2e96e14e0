#include "logging/trace_configuration.h"

#include "logging/logging.h"
#include "tool/system/registry.h"

#include <exception>
#include <mutex>
#include <optional>
#include <string>

namespace logging {

namespace {

struct applied_text
{
    std::mutex lock;
    std::optional<std::wstring> text;
};

applied_text& last_applied()
{
    static applied_text last;
    return last;
}

void apply_if_changed()
{
    namespace names = winapi::registry_names;
    const auto text = winapi::local_machine().string_value(names::trace_key, names::trace_configuration);
    if (!text) {
        return;
    }
    auto& last = last_applied();
    const std::lock_guard guard(last.lock);
    if (last.text == text) {
        return;
    }
    last.text = text;
    configurator::default_configurator().configure(*text);
}

} // namespace

void apply_trace_configuration()
{
    try {
        apply_if_changed();
    } catch (const std::exception& failure) {
        LOG_LINE(outlook_log(), 200, "Failed to apply the trace configuration: " << failure.what());
    }
}

void close_trace_configuration() noexcept
{
    try {
        auto& last = last_applied();
        const std::lock_guard guard(last.lock);
        if (last.text) {
            last.text.reset();
            configurator::default_configurator().configure({});
        }
    } catch (const std::exception&) {
        return; // the error cannot be reported any more
    }
}

} // namespace logging
