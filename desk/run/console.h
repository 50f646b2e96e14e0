#pragma once

#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>

namespace host {

/// The output streams of a command.
struct console
{
    std::ostream& out;
    std::ostream& err;
    bool shows_progress = false; ///< standard error is a terminal on which a line can be erased
    std::size_t width = 100;     ///< columns of the terminal
    std::string_view program = "postwarden";
    bool out_is_terminal = false;              ///< standard output is a terminal
    bool shows_colours = false;                ///< on standard output
    std::size_t (*progress_width)() = nullptr; ///< present columns of the terminal of standard error; null: width
    mutable bool progress_is_shown = false;    ///< a line of progress must be erased before other output
};

/// Exit statuses. A command that was stopped has stopped_by().
enum class exit_status : int
{
    done = 0,
    failed = 1,       ///< an internal error occurred, or an output file could not be written
    usage = 2,        ///< the command line is invalid
    unreadable = 3,   ///< a message could not be read; the others were processed
    no_service = 4,   ///< the requested service is not available, or did not judge what should have been judged
    no_addin = 5,     ///< the add-in cannot be loaded, or refuses to be connected
    leak = 6,         ///< an object that was passed to the add-in was never released
    condition_met = 7 ///< a condition of --fail-on is met
};

/// Returns the exit status of a command that was stopped by a signal: 130 for SIGINT, 143 for SIGTERM.
constexpr exit_status stopped_by(int signal)
{
    return static_cast<exit_status>(128 + signal);
}

/// Returns UTF-8 text with "?" for everything that must not reach a terminal: control characters and invalid bytes.
std::string printable(std::string_view text);

/// Writes one line to standard error in place of the progress: "postwarden: what: why", beginning with the program's
/// name.
void report(const console& where, std::string_view what, std::string_view why);

/// Returns the number of terminal columns of a UTF-8 text: wide characters take two, combining ones none.
std::size_t columns_of(std::string_view text);
/// Returns the text padded with blanks to `columns`, or truncated with an ellipsis if it is wider. Control characters
/// and invalid bytes become "?".
std::string fitted(std::string_view text, std::size_t columns);

/// Erases a line of a terminal that can do that, and leaves the cursor at its begin.
inline constexpr const char* line_eraser = "\r\033[J";

/// Erases the line that a progress_line has drawn, if any. It is drawn again when the progress is shown next.
void erase_progress(const console& where);
/// Held while the line of progress is drawn or erased, which occurs on two threads.
std::mutex& progress_lock();

} // namespace host
