#include "desk/run/console.h"

#include "desk/run/characters.h"
#include "tool/system/utf.h"

namespace host {

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const auto next = winapi::utf::first_code_point(text);
        const std::size_t size = next.valid ? next.size : 1; // each invalid byte is shown
        if (!next.valid || is_control(next.code_point)) {
            result.push_back('?');
        } else {
            result.append(text.substr(0, size));
        }
        text.remove_prefix(size);
    }
    return result;
}

void report(const console& where, std::string_view what, std::string_view why)
{
    erase_progress(where);
    where.err << where.program << ": " << printable(what) << ": " << printable(why) << std::endl;
}

std::size_t columns_of(std::string_view text)
{
    const std::string shown = printable(text);
    std::size_t columns = 0;
    for (std::string_view rest = shown; !rest.empty();) {
        columns += columns_of_character(winapi::utf::take_code_point(rest));
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
    for (std::string_view rest = shown; !rest.empty();) {
        const auto next = winapi::utf::first_code_point(rest);
        const std::size_t more = columns_of_character(next.code_point);
        if (used + more + 1 > columns) {
            break;
        }
        used += more;
        result.append(rest.substr(0, next.size));
        rest.remove_prefix(next.size);
    }
    if (columns > used) {
        result += "\u2026"; // one column
        ++used;
    }
    return result + std::string(columns - used, ' ');
}

std::mutex& progress_lock()
{
    static std::mutex lock;
    return lock;
}

void erase_progress(const console& where)
{
    const std::lock_guard guard(progress_lock());
    if (where.progress_is_shown) {
        where.progress_is_shown = false;
        where.err << line_eraser << std::flush;
    }
}

} // namespace host
