#include "mail/mime/reading/attachment_names.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::size_t base_length = 8;
constexpr std::size_t extension_length = 3;
constexpr std::wstring_view unusable = L" \"*+,/:;<=>?[\\]|.";

bool is_usable(wchar_t character)
{
    return character > 0x20 && character < 0x7F && unusable.find(character) == std::wstring_view::npos;
}

/// Returns the allowed characters in upper case. Dots and blanks are removed, any other character is replaced by an
/// underscore.
std::wstring squeeze(std::wstring_view text, std::size_t limit)
{
    std::wstring result;
    for (const wchar_t character : text) {
        if (character == L' ' || character == L'.') {
            continue;
        }
        if (result.size() == limit) {
            break;
        }
        const bool lower = character >= L'a' && character <= L'z';
        result.push_back(!is_usable(character) ? L'_' : lower ? static_cast<wchar_t>(character - 32) : character);
    }
    return result;
}

} // namespace

std::wstring extension_of(std::wstring_view name)
{
    const std::size_t dot = name.rfind(L'.');
    return dot == std::wstring_view::npos ? std::wstring() : std::wstring(name.substr(dot));
}

std::wstring short_name(std::wstring_view name)
{
    const std::size_t dot = name.rfind(L'.');
    const std::wstring_view base = name.substr(0, dot);
    const std::wstring_view extension = dot == std::wstring_view::npos ? std::wstring_view() : name.substr(dot + 1);
    const bool fits = base.size() <= base_length && extension.size() <= extension_length &&
                      std::all_of(base.begin(), base.end(), is_usable) &&
                      std::all_of(extension.begin(), extension.end(), is_usable);
    if (fits || name.empty()) {
        return std::wstring(name);
    }
    const std::wstring tail = squeeze(extension, extension_length);
    return squeeze(base, base_length - 2) + L"~1" + (tail.empty() ? L"" : L"." + tail);
}

} // namespace host
