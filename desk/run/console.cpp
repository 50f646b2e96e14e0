#include "desk/run/console.h"

#include "desk/run/characters.h"

#include <algorithm>
#include <iterator>

namespace host {

namespace {

constexpr std::size_t many = 10; ///< fewer messages need no bar
constexpr std::size_t bar_columns = 40;

/// One character of a UTF-8 text.
struct decoded
{
    char32_t character = 0;
    std::size_t length = 1; ///< bytes; 1 where the text is not UTF-8
    bool valid = false;
};

/// The first character of a text that isn't empty. Overlong forms, surrogates and what lies beyond Unicode are not
/// valid.
decoded decode(std::string_view text)
{
    struct form
    {
        unsigned char mask;
        unsigned char lead;
        char32_t least;
    };
    constexpr form forms[] = {{0x80U, 0x00U, 0}, {0xE0U, 0xC0U, 0x80}, {0xF0U, 0xE0U, 0x800}, {0xF8U, 0xF0U, 0x10000}};
    constexpr char32_t beyond = 0x110000;
    const auto first = static_cast<unsigned char>(text.front());
    for (std::size_t more = 0; more < std::size(forms); ++more) {
        if ((first & forms[more].mask) != forms[more].lead || text.size() <= more) {
            continue;
        }
        char32_t character = first & static_cast<unsigned char>(~forms[more].mask);
        for (const char next : text.substr(1, more)) {
            if ((static_cast<unsigned char>(next) & 0xC0U) != 0x80U) {
                return {};
            }
            character = (character << 6U) | (static_cast<unsigned char>(next) & 0x3FU);
        }
        const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
        if (character < forms[more].least || character >= beyond || surrogate) {
            return {};
        }
        return {character, more + 1, true};
    }
    return {};
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const decoded next = decode(text);
        if (!next.valid || is_control(next.character)) {
            result.push_back('?');
        } else {
            result.append(text.substr(0, next.length));
        }
        text.remove_prefix(next.length);
    }
    return result;
}

void report(const console& where, std::string_view what, std::string_view why)
{
    where.err << where.program << ": " << printable(what) << ": " << printable(why) << std::endl;
}

std::size_t columns_of(std::string_view text)
{
    const std::string shown = printable(text);
    std::size_t columns = 0;
    for (std::string_view rest = shown; !rest.empty();) {
        const decoded next = decode(rest);
        columns += columns_of_character(next.character);
        rest.remove_prefix(next.length);
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
        const decoded next = decode(rest);
        const std::size_t more = columns_of_character(next.character);
        if (used + more + 1 > columns) {
            break;
        }
        used += more;
        result.append(rest.substr(0, next.length));
        rest.remove_prefix(next.length);
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
