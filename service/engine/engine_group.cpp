#include "service/engine/engine_group.h"

#include "service/engine/whole_object_scan.h"

#include <optional>
#include <utility>

namespace service {

engine_group::engine_group(engine_list engines)
    : engines_(std::move(engines))
{}

std::unique_ptr<object_scan> engine_group::begin(const object_info& info, stop_token stop)
{
    return std::make_unique<whole_object_scan>(
        [this, info, stop = std::move(stop)](web::io_data& object) { return judge(info, object, stop); });
}

verdict engine_group::judge(const object_info& info, web::io_data& object, const stop_token& stop)
{
    std::string faults;
    std::string unchecked;
    for (std::size_t i = 0; i < engines_.size(); ++i) {
        verdict outcome = scan(*engines_[i], info, object, stop);
        if (std::holds_alternative<blocked_verdict>(outcome)) {
            return outcome;
        }
        if (stop.stop_requested()) { // the verdict of some is not that of all
            return error_verdict{"the service is stopping"};
        }
        if (auto* const found = std::get_if<repaired_verdict>(&outcome)) {
            return judge_repaired(info, std::move(*found), i + 1, stop);
        }
        if (const auto* const fault = std::get_if<error_verdict>(&outcome)) {
            append_named(faults, engines_[i]->name(), fault->why);
        } else if (const auto* const unknown = std::get_if<unchecked_verdict>(&outcome)) {
            append_named(unchecked, engines_[i]->name(), unknown->why);
        }
    }
    if (!faults.empty()) {
        return error_verdict{faults};
    }
    if (!unchecked.empty()) {
        return unchecked_verdict{unchecked};
    }
    return clean_verdict{};
}

/// Judges a repaired object by the engines from `next` on.
verdict engine_group::judge_repaired(const object_info& info, repaired_verdict found, std::size_t next,
                                     const stop_token& stop)
{
    for (std::size_t i = next; i < engines_.size(); ++i) {
        verdict outcome = scan(*engines_[i], {info.name, found.body->size()}, *found.body, stop);
        if (std::holds_alternative<blocked_verdict>(outcome)) {
            return outcome;
        }
        if (auto* const again = std::get_if<repaired_verdict>(&outcome)) {
            found = {found.threat + ", " + again->threat, std::move(again->body)};
        } else if (!std::holds_alternative<clean_verdict>(outcome)) {
            return blocked_verdict{found.threat};
        }
    }
    return found;
}

std::string engine_group::identity(stop_token stop)
{
    return probe(std::move(stop)).identity;
}

engine_state engine_group::probe(stop_token stop)
{
    const auto states = probe_all(engines_, stop);
    engine_state made{combined_identity(engines_, states), {}};
    made.parts = parts_of(engines_, states);
    for (std::size_t i = 0; i < engines_.size(); ++i) {
        if (!states[i].fault.empty()) {
            append_named(made.fault, engines_[i]->name(), states[i].fault);
        }
        if (!states[i].remark.empty()) {
            append_named(made.remark, engines_[i]->name(), states[i].remark);
        }
    }
    return made;
}

} // namespace service
