#pragma once

#include "desk/run/opening_report.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// The outcome of an opening, as the report classifies it.
enum class outcome
{
    clean,
    repaired,
    condemned,
    not_judged,
    unanswered, ///< an object that should have been judged has no answer, and nothing was condemned
    failed,     ///< the check returned an error
    unreadable  ///< the message was not opened
};
inline constexpr std::size_t outcome_count = 7;

[[nodiscard]] outcome outcome_of(const opening& result);
/// Returns the words for an outcome.
[[nodiscard]] std::string_view outcome_words(outcome value);
/// Returns the class of an outcome in the style sheet: one letter.
[[nodiscard]] char outcome_class(outcome value);

/// The durations of openings, counted in steps that double: less than 1 ms, 1 ms, 2 to 3 ms, 4 to 7 ms and so on.
class duration_steps
{
public:
    void add(std::uint64_t milliseconds);
    /// Returns the chart as an SVG element with a description in words; empty if nothing was counted.
    [[nodiscard]] std::string chart() const;
    [[nodiscard]] std::uint64_t longest() const noexcept { return longest_; }
    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }

private:
    std::array<std::size_t, 24> counts_{};
    std::uint64_t longest_ = 0;
    std::uint64_t total_ = 0;
};

/// What a report counts while messages are opened.
struct report_figures
{
    std::array<std::size_t, outcome_count> outcomes{};
    std::size_t changed = 0;
    std::size_t blocked = 0;
    std::size_t encrypted = 0;
    std::size_t unanswered = 0; ///< openings in which an object lacks an answer, whatever their outcome
    duration_steps durations;

    void count(outcome value) { ++outcomes.at(static_cast<std::size_t>(value)); }
    [[nodiscard]] std::size_t number_of(outcome value) const { return outcomes.at(static_cast<std::size_t>(value)); }
    /// Returns the number of all outcomes.
    [[nodiscard]] std::size_t rows() const;
    /// Returns a bar with the share of each outcome, as an SVG element with a description in words, and its legend.
    [[nodiscard]] std::string bar() const;
};

} // namespace host
