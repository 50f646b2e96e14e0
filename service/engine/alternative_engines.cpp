#include "service/engine/alternative_engines.h"

#include "service/engine/whole_object_scan.h"

#include <algorithm>
#include <utility>

namespace service {

alternative_engines::alternative_engines(engine_list engines, clock now)
    : engines_(std::move(engines))
    , now_(std::move(now))
    , members_(engines_.size())
{}

std::unique_ptr<object_scan> alternative_engines::begin(const object_info& info, stop_token stop)
{
    return std::make_unique<whole_object_scan>(
        [this, info, stop = std::move(stop)](web::io_data& object) { return judge(info, object, stop); });
}

verdict alternative_engines::judge(const object_info& info, web::io_data& object, const stop_token& stop)
{
    std::string faults;
    std::vector<bool> asked(engines_.size());
    while (const auto used = next(asked)) {
        asked[used->index] = true;
        verdict outcome = scan(*engines_[used->index], info, object, stop);
        const auto* const fault = std::get_if<error_verdict>(&outcome);
        if (fault == nullptr) {
            finish(*used, result::success);
            return outcome;
        }
        if (stop.stop_requested()) { // that is no failure of the engine
            finish(*used, result::stopped);
            return outcome;
        }
        finish(*used, result::failure);
        append_named(faults, engines_[used->index]->name(), fault->why);
        if (used->is_last) {
            break;
        }
    }
    return error_verdict{faults};
}

/// Returns the engine to be asked after those in `asked`.
std::optional<alternative_engines::turn> alternative_engines::next(const std::vector<bool>& asked)
{
    const auto now = now_();
    const std::lock_guard guard(lock_);
    for (std::size_t i = 0; i < members_.size(); ++i) {
        member& one = members_[i];
        if (asked[i]) {
            continue;
        }
        if (one.failures == 0) {
            return turn{i, 0, false, false};
        }
        if (!one.tried && now >= one.pause_end) {
            one.tried = true;
            return turn{i, one.failures, true, false};
        }
    }
    return last_resort(asked);
}

/// Returns the engine whose pause ends first, unless it has been asked.
std::optional<alternative_engines::turn> alternative_engines::last_resort(const std::vector<bool>& asked)
{
    std::optional<turn> found;
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (!asked[i] && (!found || members_[i].pause_end < members_[found->index].pause_end)) {
            found = turn{i, members_[i].failures, false, true};
        }
    }
    return found;
}

void alternative_engines::finish(const turn& used, result outcome)
{
    const auto now = now_();
    const std::lock_guard guard(lock_);
    member& one = members_[used.index];
    one.tried = one.tried && !used.is_trial;
    if (outcome == result::success) {
        one.failures = 0;
    }
    // Scans that began at the same time and failed together count as one failure.
    if (outcome == result::failure && one.failures == used.failures) {
        constexpr std::uint32_t most_doublings = 6;
        const auto pause = first_pause * (1U << std::min(one.failures, most_doublings));
        ++one.failures;
        one.pause_end = now + std::min<std::chrono::seconds>(pause, longest_pause);
    }
}

std::string alternative_engines::identity(stop_token stop)
{
    return probe(std::move(stop)).identity;
}

engine_state alternative_engines::probe(stop_token stop)
{
    const auto failures_of = [this](std::size_t index) {
        const std::lock_guard guard(lock_);
        return members_[index].failures;
    };
    std::vector<turn> turns;
    for (std::size_t i = 0; i < engines_.size(); ++i) {
        turns.push_back({i, failures_of(i), false, false});
    }
    const auto states = probe_all(engines_, stop);
    engine_state made{combined_identity(engines_, states), {}};
    made.parts = parts_of(engines_, states);
    std::string faults;
    bool reached = false;
    for (std::size_t i = 0; i < engines_.size(); ++i) {
        if (states[i].fault.empty()) {
            reached = true;
        } else {
            append_named(faults, engines_[i]->name(), states[i].fault);
            finish(turns[i], stop.stop_requested() ? result::stopped : result::failure);
        }
    }
    (reached ? made.remark : made.fault) = faults;
    return made;
}

} // namespace service
