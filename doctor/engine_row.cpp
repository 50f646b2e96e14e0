#include "doctor/engine_row.h"

#include <algorithm>

namespace doctor {

namespace {

constexpr const char* builtin_remedy = "The builtin engine knows the standard antivirus test file only. Add an engine "
                                       "by the option --engine of the service.";
constexpr std::int64_t seconds_a_day = 86400;

std::string age_text(std::int64_t seconds)
{
    constexpr std::int64_t seconds_an_hour = 3600;
    const std::int64_t age = std::max<std::int64_t>(seconds, 0);
    if (age < 2 * seconds_a_day) {
        return std::to_string(age / seconds_an_hour) + " hours old";
    }
    return std::to_string(age / seconds_a_day) + " days old";
}

std::string text_of(const engine_figures& engine, std::int64_t now)
{
    std::string text = engine.name;
    if (!engine.version.empty()) {
        text.append(" ").append(engine.version);
    }
    if (!engine.up) {
        text.append(" (cannot judge)");
    } else if (engine.signatures) {
        text.append(" (signatures ").append(age_text(now - *engine.signatures)).append(")");
    }
    return text;
}

} // namespace

finding engines_by_istag(const std::string& istag)
{
    if (istag.empty()) {
        return not_applicable("no ISTag; --metrics-port shows engines and their signatures");
    }
    if (istag.starts_with("\"builtin-")) {
        return warning("builtin only, ISTag " + istag, builtin_remedy);
    }
    return not_applicable("ISTag " + istag + "; --metrics-port shows engines and their signatures");
}

finding engines_by_metrics(const std::vector<engine_figures>& engines, std::int64_t now, std::uint32_t days)
{
    std::string found;
    for (const engine_figures& engine : engines) {
        found.append(found.empty() ? "" : "; ").append(text_of(engine, now));
    }
    const auto is_up = [](const engine_figures& engine) { return engine.up; };
    if (std::none_of(engines.begin(), engines.end(), is_up)) {
        return failed(found.empty() ? "the service reports no engine" : found,
                      "No engine can judge: start them, and read the log of the service.");
    }
    if (!std::all_of(engines.begin(), engines.end(), is_up)) {
        return warning(found, "Start the engines that cannot judge; the log of the service contains the reason.");
    }
    const auto is_old = [&](const engine_figures& engine) {
        return engine.signatures && now - *engine.signatures > days * seconds_a_day;
    };
    if (std::any_of(engines.begin(), engines.end(), is_old)) {
        return warning(found, "Update the signatures, and find out why they are not updated by themselves.");
    }
    if (std::all_of(engines.begin(), engines.end(), [](const engine_figures& one) { return one.name == "builtin"; })) {
        return warning(found, builtin_remedy);
    }
    return ok(found);
}

} // namespace doctor
