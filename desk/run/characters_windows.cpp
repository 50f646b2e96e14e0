#include "desk/run/characters.h"

#include <windows.h>

namespace host {

namespace {

constexpr char32_t last_of_one_unit = 0xFFFF;

/// Returns the system's classification of a character that takes one UTF-16 unit; 0 for other characters.
WORD type_of(char32_t character, DWORD kind)
{
    if (character > last_of_one_unit) {
        return 0;
    }
    const auto unit = static_cast<wchar_t>(character);
    WORD type = 0;
    return GetStringTypeW(kind, &unit, 1, &type) != 0 ? type : WORD{0};
}

/// The planes of ideographs, and the pictographs of the first supplementary plane.
bool is_wide_beyond(char32_t character)
{
    return (character >= 0x20000 && character <= 0x3FFFD) || (character >= 0x1F300 && character <= 0x1F64F) ||
           (character >= 0x1F900 && character <= 0x1F9FF);
}

} // namespace

std::size_t columns_of_character(char32_t character)
{
    const WORD type = type_of(character, CT_CTYPE3);
    if ((type & C3_NONSPACING) != 0) {
        return 0;
    }
    const bool kana = (type & (C3_HIRAGANA | C3_KATAKANA)) != 0;
    const bool wide = (type & (C3_FULLWIDTH | C3_IDEOGRAPH)) != 0 || (kana && (type & C3_HALFWIDTH) == 0);
    return wide || is_wide_beyond(character) ? 2 : 1;
}

bool is_control(char32_t character)
{
    return (type_of(character, CT_CTYPE1) & C1_CNTRL) != 0;
}

} // namespace host
