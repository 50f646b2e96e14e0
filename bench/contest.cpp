#include "bench/contest.h"

#include "bench/once.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace bench {

namespace {

using clock = std::chrono::steady_clock;
using seconds = std::chrono::duration<double>;

constexpr seconds turn{0.04};
constexpr unsigned fewest_rounds = 3;

double time_of(const contender& one, std::uint64_t count)
{
    if (one.prepare) {
        one.prepare(count);
    }
    const auto begin = clock::now();
    one.work(count);
    return seconds(clock::now() - begin).count() / static_cast<double>(count);
}

/// Returns how often a contender works in a turn.
std::uint64_t count_for_turn(const contender& one)
{
    std::uint64_t count = 1;
    for (;;) {
        const double all = time_of(one, count) * static_cast<double>(count);
        if (all >= turn.count() / 4) {
            return std::max<std::uint64_t>(1,
                                           static_cast<std::uint64_t>(static_cast<double>(count) * turn.count() / all));
        }
        count *= 4;
    }
}

double median_of(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// Returns the times of every contender, one for each round.
std::vector<std::vector<double>> run_rounds(const std::vector<contender>& all, unsigned rounds)
{
    std::vector<std::uint64_t> counts;
    for (const auto& one : all) {
        time_of(one, 1);
        counts.push_back(count_for_turn(one));
    }
    std::vector<std::vector<double>> times(all.size());
    for (unsigned round = 0; round < rounds; ++round) {
        for (std::size_t place = 0; place < all.size(); ++place) {
            const std::size_t index = (place + round) % all.size();
            times[index].push_back(time_of(all[index], counts[index]));
        }
    }
    return times;
}

standing compare(const rival& other, const std::vector<double>& ours, const std::vector<double>& theirs)
{
    std::vector<double> ratios(ours.size());
    std::transform(ours.begin(), ours.end(), theirs.begin(), ratios.begin(), [&](double own, double foreign) {
        return other.expressed == ratio::speed ? foreign / own : own / foreign;
    });
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    return {other.way.name, other.expressed, other.goal, median_of(ratios), *least, *most};
}

std::string time_text(std::chrono::nanoseconds time)
{
    const auto count = static_cast<double>(time.count());
    char text[32];
    if (count < 1e4) {
        std::snprintf(text, sizeof text, "%.0f ns", count);
    } else if (count < 1e7) {
        std::snprintf(text, sizeof text, "%.1f us", count / 1e3);
    } else {
        std::snprintf(text, sizeof text, "%.1f ms", count / 1e6);
    }
    return text;
}

std::string goal_text(const standing& one)
{
    if (one.goal == 0) {
        return "";
    }
    char text[48];
    const bool reached = one.expressed == ratio::speed ? one.median >= one.goal : one.median <= one.goal;
    std::snprintf(text, sizeof text, "%s %.2g%s", one.expressed == ratio::speed ? "at least" : "at most", one.goal,
                  reached ? "" : ", missed");
    return text;
}

const char* expressed_text(ratio expressed)
{
    return expressed == ratio::speed ? "speed" : "time";
}

/// Quotes a text for JSON; the names of contests contain neither quotes nor control characters.
std::string quoted(const std::string& text)
{
    return '"' + text + '"';
}

void write_json(const std::string& path, const std::vector<outcome>& outcomes)
{
    std::ofstream file(path);
    file << '[';
    const char* separator = "\n";
    for (const auto& work : outcomes) {
        for (const auto& one : work.standings) {
            file << separator << "{\"work\": " << quoted(work.work) << ", \"ours\": " << quoted(work.ours)
                 << ", \"rival\": " << quoted(one.rival_name) << ", \"nanoseconds\": " << work.time.count()
                 << ", \"ratio\": " << quoted(expressed_text(one.expressed)) << ", \"goal\": " << one.goal
                 << ", \"median\": " << one.median << ", \"least\": " << one.least << ", \"most\": " << one.most << '}';
            separator = ",\n";
        }
    }
    file << "\n]\n";
    file.close();
    require(file.good(), "the JSON file cannot be written");
}

unsigned number_of(const char* text)
{
    const std::string_view digits = text == nullptr ? "" : text;
    unsigned value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value < fewest_rounds) {
        throw std::invalid_argument("--rounds takes a number of at least 3");
    }
    return value;
}

} // namespace

void require(bool truth, const char* what)
{
    if (!truth) {
        throw std::runtime_error(what);
    }
}

contests::contests(int count, char** arguments)
{
    for (int index = 1; index < count; ++index) {
        const std::string_view argument = arguments[index];
        if (argument == "--rounds") {
            rounds_ = number_of(arguments[++index]);
        } else if (argument == "--json") {
            json_ = ++index < count ? arguments[index] : "";
            require(!json_.empty(), "--json takes the name of a file");
        } else if (argument.starts_with('-')) {
            throw std::invalid_argument("unknown option: " + std::string(argument));
        } else {
            words_.emplace_back(argument);
        }
    }
}

bool contests::is_wanted(const std::string& work) const
{
    const auto is_part = [&](const std::string& word) { return work.find(word) != std::string::npos; };
    return words_.empty() || std::any_of(words_.begin(), words_.end(), is_part);
}

void contests::hold(const contest& work)
{
    if (!is_wanted(work.work)) {
        return;
    }
    std::vector<contender> all{work.ours};
    std::transform(work.rivals.begin(), work.rivals.end(), std::back_inserter(all),
                   [](const rival& other) { return other.way; });
    if (once()) {
        std::for_each(all.begin(), all.end(), [](const contender& one) { time_of(one, 1); });
        std::printf("%s: works\n", work.work.c_str());
        return;
    }
    const auto times = run_rounds(all, rounds_);
    outcome result{work.work, work.ours.name, std::chrono::nanoseconds(std::llround(median_of(times[0]) * 1e9)), {}};
    for (std::size_t index = 0; index < work.rivals.size(); ++index) {
        result.standings.push_back(compare(work.rivals[index], times[0], times[index + 1]));
    }
    outcomes_.push_back(std::move(result));
    std::fprintf(stderr, "%s: %u rounds\n", work.work.c_str(), rounds_);
}

int contests::finish() const
{
    if (once()) {
        return 0;
    }
    if (outcomes_.empty()) {
        std::fputs("no contest has a name with these words\n", stderr);
        return 1;
    }
    std::puts("| Work | Ours | Beside | Ratio | Median | Spread | Goal |\n|---|---|---|---|---|---|---|");
    for (const auto& work : outcomes_) {
        for (const auto& one : work.standings) {
            std::printf("| %s | %s | %s | %s | %.2f | %.2f to %.2f | %s |\n", work.work.c_str(),
                        time_text(work.time).c_str(), one.rival_name.c_str(), expressed_text(one.expressed), one.median,
                        one.least, one.most, goal_text(one).c_str());
        }
    }
    if (!json_.empty()) {
        write_json(json_, outcomes_);
    }
    return 0;
}

int run_contests(int count, char** arguments, const std::function<void(contests&)>& body)
{
    try {
        take_once(count, arguments);
        contests all(count, arguments);
        body(all);
        return all.finish();
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "%s: %s\n", arguments[0], failure.what()));
        return 1;
    }
}

} // namespace bench
