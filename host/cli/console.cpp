#include "host/cli/console.h"

#include <algorithm>
#include <glib.h>

namespace host {

namespace {

constexpr std::size_t many = 10; ///< fewer messages need no bar
constexpr std::size_t bar_columns = 40;

std::size_t columns_of_character(gunichar character)
{
    if (g_unichar_iszerowidth(character)) {
        return 0;
    }
    return g_unichar_iswide(character) ? 2 : 1;
}

/// The text with "?" for what a terminal must not get.
std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
        const bool invalid = character == static_cast<gunichar>(-1) || character == static_cast<gunichar>(-2);
        const std::size_t length = invalid ? 1 : static_cast<std::size_t>(g_utf8_skip[static_cast<guchar>(text[0])]);
        if (invalid || g_unichar_iscntrl(character)) {
            result.push_back('?');
        } else {
            result.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return result;
}

} // namespace

void report(const console& where, std::string_view what, std::string_view why)
{
    where.err << "postwarden: " << printable(what) << ": " << printable(why) << std::endl;
}

std::size_t columns_of(std::string_view text)
{
    const std::string shown = printable(text);
    std::size_t columns = 0;
    for (const char* next = shown.c_str(); *next != '\0'; next = g_utf8_next_char(next)) {
        columns += columns_of_character(g_utf8_get_char(next));
    }
    return columns;
}

std::string fitted(std::string_view text, std::size_t columns)
{
    const std::string shown = printable(text);
    const std::size_t wanted = columns_of(shown);
    if (wanted <= columns) {
        return shown + std::string(columns - wanted, ' ');
    }
    std::string result;
    std::size_t used = 0;
    for (const char* next = shown.c_str(); *next != '\0'; next = g_utf8_next_char(next)) {
        const std::size_t more = columns_of_character(g_utf8_get_char(next));
        if (used + more + 1 > columns) {
            break;
        }
        used += more;
        result.append(next, static_cast<std::size_t>(g_utf8_next_char(next) - next));
    }
    if (columns > used) {
        result += "\u2026"; // one column
        ++used;
    }
    return result + std::string(columns - used, ' ');
}

progress_bar::progress_bar(const console& where, std::size_t total)
    : where_(where)
    , total_(where.shows_progress && total >= many ? total : 0)
{}

progress_bar::~progress_bar()
{
    clear();
}

void progress_bar::show(std::size_t done)
{
    if (total_ == 0) {
        return;
    }
    const std::size_t filled = bar_columns * std::min(done, total_) / total_;
    where_.err << "\r[" << std::string(filled, '#') << std::string(bar_columns - filled, '.') << "] " << done << " of "
               << total_ << std::flush;
    shown_ = true;
}

void progress_bar::clear()
{
    if (shown_) {
        where_.err << "\r\033[K" << std::flush;
        shown_ = false;
    }
}

} // namespace host
