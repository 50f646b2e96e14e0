#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace host {

/// The output streams of a command.
struct console
{
    std::ostream& out;
    std::ostream& err;
    bool shows_progress = false; ///< standard error is a terminal
    std::size_t width = 100;     ///< columns of the terminal
    std::string_view program = "postwarden";
};

/// Exit statuses.
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

/// Returns UTF-8 text with "?" for everything that must not reach a terminal: control characters and invalid bytes.
std::string printable(std::string_view text);

/// Writes one line to standard error: "postwarden: what: why", beginning with the program's name.
void report(const console& where, std::string_view what, std::string_view why);

/// Returns the number of terminal columns of a UTF-8 text: wide characters take two, combining ones none.
std::size_t columns_of(std::string_view text);
/// Returns the text padded with blanks to `columns`, or truncated with an ellipsis if it is wider. Control characters
/// and invalid bytes become "?".
std::string fitted(std::string_view text, std::size_t columns);

/// A progress bar on standard error that is redrawn in place. Draws nothing if standard error is not a terminal.
class progress_bar
{
public:
    progress_bar(const console& where, std::size_t total);
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;
    /// Erases the bar.
    ~progress_bar();

    void show(std::size_t done);
    /// Erases the bar until the next show(), so that a line can be written.
    void clear();

private:
    const console& where_;
    std::size_t total_;
    bool shown_ = false;
};

} // namespace host
