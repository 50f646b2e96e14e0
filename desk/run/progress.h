#pragma once

#include "desk/run/console.h"
#include "desk/run/expected_work.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

namespace host {

/// The state of a run.
struct progress_state
{
    std::uint64_t messages = 0; ///< done
    std::uint64_t bytes = 0;    ///< done
    std::optional<std::uint64_t> all_messages;
    std::optional<std::uint64_t> all_bytes;
    std::chrono::milliseconds spent{0};
    const char* unit = "messages";
};

/// Describes the state in one line of at most `columns` columns. The fewer there are, the more is left out: first the
/// bar, then rates and bytes; the number of messages remains.
std::string progress_text(const progress_state& state, std::size_t columns);

/// One line on standard error about the progress of a run, which is drawn in place. Draws nothing if standard error is
/// not a terminal. Whatever a command prints erases it first; see console. While a message takes long, a thread draws
/// the line again, so that its times and its width are up to date.
class progress_line
{
public:
    /// `unit` names in the plural what is counted.
    progress_line(const console& where, const expected_work& all, const char* unit = "messages");
    progress_line(const progress_line&) = delete;
    progress_line& operator=(const progress_line&) = delete;
    /// Erases the line.
    ~progress_line();

    /// Draws the line, unless it was drawn a moment ago and is still there.
    void show(std::uint64_t messages, std::uint64_t bytes);

private:
    using clock = std::chrono::steady_clock;

    void draw(clock::time_point now);
    void draw_while_shown();

    const console& where_;
    clock::time_point start_ = clock::now();
    // progress_lock() guards these members.
    progress_state state_;
    clock::time_point drawn_{};
    bool ended_ = false;
    std::condition_variable end_;
    std::thread thread_; ///< none without a terminal whose width is known
};

} // namespace host
