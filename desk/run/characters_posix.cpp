#include "desk/run/characters.h"

#include <glib.h>

namespace host {

std::size_t columns_of_character(char32_t character)
{
    if (g_unichar_iszerowidth(character)) {
        return 0;
    }
    return g_unichar_iswide(character) ? 2 : 1;
}

bool is_control(char32_t character)
{
    return g_unichar_iscntrl(character) != 0;
}

} // namespace host
