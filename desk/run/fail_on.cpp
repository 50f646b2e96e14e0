#include "desk/run/fail_on.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <string>

namespace host {

void add_fail_on(CLI::App& command, std::vector<fail_condition>& conditions)
{
    static const std::map<std::string, fail_condition> names{{"condemned", fail_condition::condemned},
                                                             {"unjudged", fail_condition::unjudged},
                                                             {"changed", fail_condition::changed}};
    command
        .add_option("--fail-on", conditions,
                    "Exit status 7 if something was condemned, if something was left unjudged for whatever reason, or "
                    "if something was changed; several separated by commas, or the option may be repeated")
        ->transform(CLI::CheckedTransformer(names).description(""))
        ->type_name("condemned|unjudged|changed")
        ->delimiter(',')
        ->take_all()
        ->allow_extra_args(false);
}

void count_opening(const reported_opening& entry, opening_totals& totals)
{
    const opening_answers& answers = entry.result.answers;
    const bool condemned = entry.result.verdict == ScanResult::Blocked || answers.body.verdict == ScanResult::Blocked ||
                           std::any_of(answers.attachments.begin(), answers.attachments.end(),
                                       [](const object_answer& one) { return one.verdict == ScanResult::Blocked; });
    totals.condemned += condemned ? 1 : 0;
    totals.unanswered += answers.complete() ? 0 : 1;
    totals.unjudged += answers.judged() && entry.result.closed.empty() ? 0 : 1;
    totals.changed += entry.changes.empty() ? 0 : 1;
}

bool fails_on(const std::vector<fail_condition>& conditions, const opening_totals& totals)
{
    return std::any_of(conditions.begin(), conditions.end(), [&totals](fail_condition condition) {
        switch (condition) {
        case fail_condition::condemned:
            return totals.condemned != 0;
        case fail_condition::unjudged:
            return totals.unjudged != 0;
        default:
            return totals.changed != 0;
        }
    });
}

exit_status status_of(const opening_totals& totals, const std::vector<fail_condition>& conditions)
{
    if (totals.stopped_by != 0) {
        return stopped_by(totals.stopped_by);
    }
    if (totals.unsaved != 0) {
        return exit_status::failed;
    }
    if (fails_on(conditions, totals)) {
        return exit_status::condition_met;
    }
    if (totals.unanswered != 0) {
        return exit_status::no_service;
    }
    return totals.unreadable == 0 ? exit_status::done : exit_status::unreadable;
}

} // namespace host
