#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace host {

/// Where a command writes.
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
    failed = 1,     ///< something broke inside
    usage = 2,      ///< the command line cannot be understood
    unreadable = 3, ///< a message could not be read; the others were done
    no_service = 4, ///< the service that was asked for cannot be had
    no_addin = 5,   ///< the add-in cannot be loaded, or refuses to be connected
    leak = 6        ///< an object that was handed to the add-in was never released
};

/// UTF-8 text with "?" for what a terminal must not get: control characters and invalid bytes.
std::string printable(std::string_view text);

/// One line on standard error: "postwarden: what: why", with the program's name first.
void report(const console& where, std::string_view what, std::string_view why);

/// Terminal columns that UTF-8 text takes: wide characters take two, combining ones none.
std::size_t columns_of(std::string_view text);
/// The text filled up with blanks to `columns`, or cut with an ellipsis when it is wider. Control characters and
/// invalid bytes become "?".
std::string fitted(std::string_view text, std::size_t columns);

/// A bar on standard error that is drawn anew in place; draws nothing where there is no terminal.
class progress_bar
{
public:
    progress_bar(const console& where, std::size_t total);
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;
    /// Takes the bar away.
    ~progress_bar();

    void show(std::size_t done);
    /// Takes the bar away until the next show(), so that a line can be written.
    void clear();

private:
    const console& where_;
    std::size_t total_;
    bool shown_ = false;
};

} // namespace host
