#include "desk/run/colours.h"

#include <array>

namespace host {

namespace {

struct coloured_word
{
    const char* word;
    const char* colour;
};

constexpr std::array coloured_words{coloured_word{"clean", "32"}, coloured_word{"condemned", "31"},
                                    coloured_word{"blocked", "31"}, coloured_word{"repaired", "33"},
                                    coloured_word{"failed", "1;31"}};

} // namespace

std::string in_its_colour(const std::string& verdict, const console& where)
{
    for (const auto& [word, colour] : coloured_words) {
        if (where.shows_colours && verdict.starts_with(word)) {
            return std::string("\033[") + colour + "m" + verdict + "\033[0m";
        }
    }
    return verdict;
}

} // namespace host
