#include "doctor/examination.h"

#include "doctor/bounded_step.h"

#include <algorithm>
#include <stdexcept>

namespace doctor {

std::vector<row> examine(const std::vector<check>& checks, std::chrono::milliseconds longest)
{
    using clock = std::chrono::steady_clock;
    std::vector<row> rows;
    for (const check& one : checks) {
        const auto begun = clock::now();
        auto result = within(longest, one.examine);
        if (!result) {
            result = failed("no result within " + std::to_string(longest.count()) + " ms", one.when_hanging);
        }
        const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - begun);
        rows.push_back({one.name, *result, static_cast<std::uint64_t>(spent.count())});
    }
    return rows;
}

std::vector<check> chosen(const std::vector<check>& checks, const std::vector<std::string>& names)
{
    std::vector<check> result;
    for (const std::string& name : names) {
        if (std::none_of(checks.begin(), checks.end(), [&](const check& one) { return one.name == name; })) {
            std::string known;
            for (const check& one : checks) {
                known.append(known.empty() ? "" : ", ").append(one.name);
            }
            throw std::invalid_argument(std::string("there is no row '").append(name).append("'; the rows are ") + known);
        }
    }
    for (const check& one : checks) {
        if (names.empty() || std::find(names.begin(), names.end(), one.name) != names.end()) {
            result.push_back(one);
        }
    }
    return result;
}

} // namespace doctor
