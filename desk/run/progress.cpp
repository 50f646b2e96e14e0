#include "desk/run/progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace host {

namespace {

constexpr std::chrono::milliseconds between_drawings{100};
constexpr std::chrono::milliseconds between_drawings_of_thread{500};
constexpr std::size_t bar_columns = 20;

/// Returns the number with one decimal if it has one digit before the point: "3.4 MB", "120 kB", "12 bytes".
std::string bytes_text(double bytes)
{
    constexpr std::array<const char*, 5> units{"bytes", "kB", "MB", "GB", "TB"};
    constexpr double step = 1000;
    std::size_t unit = 0;
    while (bytes >= step && unit + 1 < units.size()) {
        bytes /= step;
        ++unit;
    }
    std::array<char, 32> text{};
    const bool fraction = unit != 0 && bytes < 10;
    (void)std::snprintf(text.data(), text.size(), fraction ? "%.1f %s" : "%.0f %s", bytes, units.at(unit));
    return text.data();
}

/// Returns "1:02:03", "2:03" or "0:03".
std::string time_text(std::uint64_t seconds)
{
    constexpr std::uint64_t minute = 60;
    constexpr std::uint64_t hour = 3600;
    const auto two_digits = [](std::uint64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    const std::string end = ":" + two_digits(seconds % minute);
    if (seconds < hour) {
        return std::to_string(seconds / minute) + end;
    }
    return std::to_string(seconds / hour) + ":" + two_digits(seconds % hour / minute) + end;
}

double seconds_of(std::chrono::milliseconds time)
{
    return std::chrono::duration<double>(time).count();
}

/// Returns the part of the work that is done, from 0 to 1; nullopt if the whole is unknown.
std::optional<double> done_of(const progress_state& state)
{
    const auto part = [](std::uint64_t done, const std::optional<std::uint64_t>& all) -> std::optional<double> {
        return all && *all != 0 ? std::optional(std::min(1.0, static_cast<double>(done) / static_cast<double>(*all)))
                                : std::nullopt;
    };
    const auto by_bytes = part(state.bytes, state.all_bytes);
    return by_bytes ? by_bytes : part(state.messages, state.all_messages);
}

std::string left_text(const progress_state& state)
{
    constexpr double longest = 99 * 3600.0;
    const auto done = done_of(state);
    if (!done || *done <= 0) {
        return {};
    }
    return time_text(static_cast<std::uint64_t>(std::min(longest, seconds_of(state.spent) * (1 - *done) / *done)));
}

std::string rate_text(double number, const char* unit)
{
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), number < 10 ? "%.1f%s" : "%.0f%s", number, unit);
    return text.data();
}

std::string bar_text(double done)
{
    const auto filled = static_cast<std::size_t>(done * bar_columns);
    return "[" + std::string(filled, '#') + std::string(bar_columns - filled, '.') + "] ";
}

} // namespace

std::string progress_text(const progress_state& state, std::size_t columns)
{
    const auto done = done_of(state);
    const double seconds = std::max(seconds_of(state.spent), 0.001);
    const std::uint64_t all = state.all_messages ? std::max(*state.all_messages, state.messages) : 0;
    const std::string number = std::to_string(state.messages);
    const std::string unit = std::string(" ") + state.unit;
    const std::string messages = all != 0 ? number + " of " + std::to_string(all) : number;
    const std::string percent = done ? std::to_string(static_cast<int>(*done * 100)) + "%" : "";
    const std::string rate = rate_text(static_cast<double>(state.messages) / seconds, "/s");
    const auto bytes = static_cast<double>(state.bytes);
    const std::string volume =
        bytes_text(bytes) + (state.all_bytes ? " of " + bytes_text(static_cast<double>(*state.all_bytes)) : "");
    const std::string time = left_text(state);
    const std::string left = time.empty() ? time_text(static_cast<std::uint64_t>(seconds)) : time + " left";
    const std::string flow = bytes_text(bytes / seconds) + "/s";
    const std::string part = percent.empty() ? "" : percent + ", ";
    const std::array<std::string, 6> texts{
        (done ? bar_text(*done) : "") + part + messages + unit + ", " + volume + ", " + rate + ", " + flow + ", " +
            left,
        part + messages + unit + ", " + volume + ", " + rate + ", " + flow + ", " + left,
        part + messages + unit + ", " + rate + ", " + left,
        part + messages + ", " + rate + ", " + left,
        part + number + ", " + (time.empty() ? left : time),
        number,
    };
    for (const std::string& text : texts) {
        if (text.size() <= columns) {
            return text;
        }
    }
    return fitted(number, columns);
}

progress_line::progress_line(const console& where, const expected_work& all, const char* unit)
    : where_(where)
{
    state_.all_messages = all.messages;
    state_.all_bytes = all.bytes;
    state_.unit = unit;
    if (where_.shows_progress && where_.progress_width) {
        thread_ = std::thread([this] { draw_while_shown(); });
    }
}

progress_line::~progress_line()
{
    if (thread_.joinable()) {
        {
            const std::lock_guard guard(progress_lock());
            ended_ = true;
        }
        end_.notify_one();
        thread_.join();
    }
    erase_progress(where_);
}

void progress_line::show(std::uint64_t messages, std::uint64_t bytes)
{
    if (!where_.shows_progress) {
        return;
    }
    const std::lock_guard guard(progress_lock());
    state_.messages = messages;
    state_.bytes = bytes;
    const auto now = clock::now();
    if (!where_.progress_is_shown || now - drawn_ >= between_drawings) {
        draw(now);
    }
}

void progress_line::draw_while_shown()
{
    std::unique_lock guard(progress_lock());
    while (!end_.wait_for(guard, between_drawings_of_thread, [this] { return ended_; })) {
        const auto now = clock::now();
        if (where_.progress_is_shown && now - drawn_ >= between_drawings_of_thread) {
            draw(now);
        }
    }
}

void progress_line::draw(clock::time_point now)
{
    drawn_ = now;
    state_.spent = std::chrono::duration_cast<std::chrono::milliseconds>(now - start_);
    const std::size_t columns = where_.progress_width ? where_.progress_width() : where_.width;
    // The last column stays free, since some terminals wrap there. The cursor goes back to the begin of the line: a
    // terminal that becomes narrower and wraps the line anew keeps it there, so that the next drawing erases all of it.
    where_.err << ("\r" + progress_text(state_, columns > 1 ? columns - 1 : 1) + "\033[J\r") << std::flush;
    where_.progress_is_shown = true;
}

} // namespace host
