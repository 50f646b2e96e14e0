#include "service/manager/service_events.h"

#include "service/safe_text.h"
#include "service_messages/service_messages.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <string_view>

namespace manager {

namespace {

using events::severity;

/// Texts of the system are in the ANSI code page, others in UTF-8.
std::wstring wide(std::string_view text)
{
    return winapi::conv_to_wide(text, service::is_utf8(text) ? winapi::code_page_utf8 : winapi::code_page_ansi);
}

} // namespace

std::string engine_kinds(const std::vector<std::string>& engines)
{
    std::string kinds;
    for (std::string_view engine : engines) {
        kinds.append(kinds.empty() ? "" : ", ");
        for (bool first = true; first || !engine.empty(); first = false) {
            const std::string_view one = engine.substr(0, engine.find(','));
            engine.remove_prefix(std::min(engine.size(), one.size() + 1));
            kinds.append(first ? "" : " or ").append(one.substr(0, one.find(':')));
        }
    }
    return kinds;
}

void service_events::started(std::uint16_t port, const std::vector<std::string>& engines)
{
    log_->report(severity::information, event_started, {std::to_wstring(port), wide(engine_kinds(engines))});
}

void service_events::stopped()
{
    log_->report(severity::information, event_stopped, {});
}

void service_events::failed(const std::vector<std::string>& problems)
{
    std::string text;
    for (const std::string& problem : problems) {
        text.append(text.empty() ? "" : "\r\n").append(problem);
    }
    log_->report(severity::error, event_failed, {wide(text)});
}

void service_events::reloaded()
{
    log_->report(severity::information, event_reloaded, {});
}

void service_events::reload_refused(const std::string& why)
{
    log_->report(severity::warning, event_reload_refused, {wide(why)});
}

void service_events::engine_unreachable() noexcept
{
    log_->report(severity::error, event_engine_unreachable, {});
}

void service_events::engine_reachable() noexcept
{
    log_->report(severity::information, event_engine_reachable, {});
}

void service_events::engine_part_unreachable() noexcept
{
    log_->report(severity::warning, event_engine_part_unreachable, {});
}

void service_events::all_engine_parts_reachable() noexcept
{
    log_->report(severity::information, event_all_engine_parts_reachable, {});
}

void service_events::full() noexcept
{
    log_->report(severity::warning, event_full, {});
}

} // namespace manager
