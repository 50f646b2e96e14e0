#include "logging/logging.h"
#include "outlook/qdmailprotect/link/lock_file_probe_posix.h"
#include "outlook/qdmailprotect/link/presence_probe.h"

#include <utility>

LockFileProbe::LockFileProbe(std::vector<presence::lock_place> places)
    : places_(std::move(places))
{}

bool LockFileProbe::IsServicePresent() const
{
    bool present = false;
    for (const auto& place : places_) {
        const presence::lock_state state = presence::look_at(place);
        if (state == presence::lock_state::untrusted) {
            LOG_LINE(logging::outlook_log(), 200,
                     "The service's lock file is not to be trusted: " << presence::lock_path(place));
        }
        present = present || state == presence::lock_state::held;
    }
    return present;
}

std::shared_ptr<const PresenceProbe> NewPresenceProbe()
{
    return std::make_shared<LockFileProbe>(presence::lock_places());
}
