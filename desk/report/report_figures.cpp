#include "desk/report/report_figures.h"

#include "desk/report/page_text.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace host {

namespace {

struct outcome_form
{
    std::string_view words;
    char style;
};

/// Indexed by outcome.
constexpr std::array<outcome_form, outcome_count> outcome_forms{{{"clean", 'c'},
                                                                 {"repaired", 'r'},
                                                                 {"condemned", 'x'},
                                                                 {"not judged", 'n'},
                                                                 {"no answer", 'a'},
                                                                 {"check failed", 'f'},
                                                                 {"not opened", 'u'}}};

std::string step_words(std::size_t step)
{
    if (step < 2) {
        return step == 0 ? "under 1 ms" : "1 ms";
    }
    const std::uint64_t first = std::uint64_t{1} << (step - 1);
    constexpr std::uint64_t second = 1000;
    if (first < second) {
        return std::to_string(first) + "\xE2\x80\x93" + std::to_string(2 * first - 1) + " ms";
    }
    return "from " + std::to_string(first / second) + '.' + std::to_string(first % second / 100) + " s";
}

constexpr std::size_t whole_bar = 10000;
constexpr std::size_t least_of_bar = 75;

/// Returns the share of each outcome in the bar. Even the smallest one can be seen, at the expense of the largest.
std::array<std::size_t, outcome_count> bar_widths(const std::array<std::size_t, outcome_count>& counts, std::size_t all)
{
    std::array<std::size_t, outcome_count> widths{};
    std::transform(counts.begin(), counts.end(), widths.begin(), [all](std::size_t count) {
        return count == 0 ? 0 : std::max(least_of_bar, count * whole_bar / all);
    });
    const std::size_t used = std::accumulate(widths.begin(), widths.end(), std::size_t{0});
    std::size_t& largest = *std::max_element(widths.begin(), widths.end());
    largest = largest + whole_bar - used;
    return widths;
}

} // namespace

outcome outcome_of(const opening& result)
{
    if (FAILED(result.result)) {
        return outcome::failed;
    }
    switch (static_cast<std::int32_t>(result.verdict)) {
    case 2:
        return outcome::condemned;
    case 3:
        return outcome::repaired;
    case 1:
        return result.answers.complete() ? outcome::clean : outcome::unanswered;
    default:
        return result.answers.complete() ? outcome::not_judged : outcome::unanswered;
    }
}

std::string_view outcome_words(outcome value)
{
    return outcome_forms.at(static_cast<std::size_t>(value)).words;
}

char outcome_class(outcome value)
{
    return outcome_forms.at(static_cast<std::size_t>(value)).style;
}

void duration_steps::add(std::uint64_t milliseconds)
{
    const auto step = static_cast<std::size_t>(std::bit_width(milliseconds));
    ++counts_.at(std::min(step, counts_.size() - 1));
    longest_ = std::max(longest_, milliseconds);
    total_ += milliseconds;
}

std::string duration_steps::chart() const
{
    constexpr std::size_t row = 22;
    constexpr std::size_t label = 96;
    constexpr std::size_t widest = 160;
    constexpr std::size_t width = 320;
    const auto counted = [](std::size_t count) { return count != 0; };
    const auto first = std::find_if(counts_.begin(), counts_.end(), counted);
    if (first == counts_.end()) {
        return {};
    }
    const auto last = std::find_if(counts_.rbegin(), counts_.rend(), counted).base();
    const std::size_t most = std::max<std::size_t>(1, *std::max_element(first, last));
    std::string bars;
    std::string words;
    std::size_t y = 0;
    for (auto at = first; at != last; ++at, y += row) {
        const std::string name = step_words(static_cast<std::size_t>(at - counts_.begin()));
        const std::size_t length = *at == 0 ? 1 : std::max<std::size_t>(3, *at * widest / most);
        const auto text_at = [&](std::size_t x, std::string_view more, const std::string& text) {
            bars.append("<text x=").append(std::to_string(x)).append(" y=").append(std::to_string(y + 15));
            bars.append(more).append(">").append(text).append("</text>");
        };
        text_at(label, " text-anchor=end", name);
        bars.append("<rect x=").append(std::to_string(label + 8)).append(" y=").append(std::to_string(y + 4));
        bars.append(" width=").append(std::to_string(length)).append(" height=14 rx=2></rect>");
        text_at(label + 14 + length, "", std::to_string(*at));
        words.append(words.empty() ? "" : ", ").append(name).append(": ").append(std::to_string(*at));
    }
    return "<svg class=chart role=img width=" + std::to_string(width) + " height=" + std::to_string(y) +
           " viewBox=\"0 0 " + std::to_string(width) + ' ' + std::to_string(y) +
           "\"><title>Openings by duration: " + words + "</title>" + bars + "</svg>";
}

std::size_t report_figures::rows() const
{
    return std::accumulate(outcomes.begin(), outcomes.end(), std::size_t{0});
}

std::string report_figures::bar() const
{
    constexpr std::size_t gap = 25;
    if (rows() == 0) {
        return {};
    }
    const auto widths = bar_widths(outcomes, rows());
    std::string parts;
    std::string legend;
    std::string words;
    std::size_t from = 0;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        if (outcomes.at(i) == 0) {
            continue;
        }
        const outcome_form& form = outcome_forms.at(i);
        const std::string count = std::to_string(outcomes.at(i));
        const std::size_t end = from + widths.at(i);
        parts.append("<rect class=").append(1, form.style).append(" x=").append(std::to_string(from)).append(" width=");
        parts.append(std::to_string(widths.at(i) - (end == whole_bar ? 0 : gap))).append(" height=10></rect>");
        legend.append("<li class=").append(1, form.style).append("><b>").append(count).append("</b> ");
        legend.append(form.words);
        words.append(words.empty() ? "" : ", ").append(count).append(1, ' ').append(form.words);
        from = end;
    }
    return "<svg class=bar role=img viewBox=\"0 0 10000 10\" preserveAspectRatio=none><title>" + words + "</title>" +
           parts + "</svg><ul class=legend>" + legend + "</ul>";
}

} // namespace host
