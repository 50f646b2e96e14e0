#include "broker/kept_settings.h"

#include "broker/protected_file.h"
#include "broker_messages/broker_messages.h"
#include "desk/settings/settings_file.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <utility>

namespace broker {

namespace {

constexpr std::size_t longest_reason = 500; // a record of the event log is short, and the text may quote the file

std::wstring shown(const std::string& reason)
{
    return winapi::conv_to_wide(reason, winapi::code_page_utf8).substr(0, longest_reason);
}

} // namespace

kept_settings::kept_settings(reader read, events::sink& events)
    : read_(std::move(read))
    , events_(events)
{}

void kept_settings::complain(std::uint32_t id, const std::wstring& why)
{
    if (why == complaint_) {
        return;
    }
    complaint_ = why;
    events_.report(events::severity::error, id,
                   {why, last_good_ ? L"The settings that were read before remain in force."
                                    : L"There are no settings; mail add-ins keep those that they have."});
}

std::optional<std::vector<std::uint8_t>> kept_settings::current()
{
    const std::lock_guard guard(lock_);
    std::wstring path;
    try {
        const contents found = read_();
        path = found.path;
        last_good_ = host::settings_bytes_of_json(found.text);
        if (!complaint_.empty()) {
            complaint_.clear();
            events_.report(events::severity::information, broker_event_in_force, {path});
        }
    } catch (const unusable_file& failure) {
        const bool refused = failure.what_is_wrong() == unusable_file::fault::refused;
        complain(refused ? broker_event_refused : broker_event_unreadable, failure.why());
    } catch (const host::settings_file_error& failure) {
        complain(broker_event_invalid, path + L": " + shown(failure.what()));
    }
    return last_good_;
}

} // namespace broker
