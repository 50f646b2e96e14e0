#include "broker/kept_settings.h"

#include "broker/protected_file.h"
#include "broker_messages/broker_messages.h"
#include "desk/settings/settings_file.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace broker {

namespace {

constexpr std::size_t longest_reason = 500; // a record of the event log is short, and the text may quote the file

constexpr int deepest = 16; // the settings themselves have 6

/// Returns how deep the objects and arrays of a JSON text are nested.
int nesting_of(const std::string& text)
{
    int depth = 0;
    int most = 0;
    bool quoted = false;
    bool escaped = false;
    for (const char one : text) {
        if (quoted) {
            quoted = escaped || one != '"';
            escaped = !escaped && one == '\\';
        } else if (one == '"') {
            quoted = true;
        } else if (one == '{' || one == '[') {
            most = std::max(most, ++depth);
        } else if (one == '}' || one == ']') {
            --depth;
        }
    }
    return most;
}

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
        if (nesting_of(found.text) > deepest) {
            throw host::settings_file_error("nested too deeply");
        }
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
