#include "outlook/qdmailprotect/com/registration_script.h"

namespace {

constexpr std::wstring_view ClassesRoot = L"HKCR";
constexpr std::wstring_view UserClassesBegin = L"HKCU { NoRemove Software { NoRemove Classes";
constexpr std::wstring_view UserClassesEnd = L" } }";

} // namespace

std::wstring ScriptForUser(std::wstring_view script)
{
    std::wstring wrapped;
    bool quoted = false; // a doubled quote within a text ends the text and begins it again
    int depth = 0;
    bool inClasses = false;
    for (std::size_t at = 0; at < script.size(); ++at) {
        const wchar_t letter = script[at];
        if (letter == L'\'') {
            quoted = !quoted;
        } else if (!quoted && depth == 0 && script.substr(at).starts_with(ClassesRoot)) {
            wrapped += UserClassesBegin;
            at += ClassesRoot.size() - 1;
            inClasses = true;
            continue;
        } else if (!quoted && letter == L'{') {
            ++depth;
        } else if (!quoted && letter == L'}') {
            --depth;
            if (depth == 0 && inClasses) {
                inClasses = false;
                (wrapped += letter) += UserClassesEnd;
                continue;
            }
        }
        wrapped += letter;
    }
    return wrapped;
}

std::wstring QuotedForScript(std::wstring_view text)
{
    std::wstring quoted;
    for (const wchar_t letter : text) {
        quoted.append(letter == L'\'' ? 2 : 1, letter);
    }
    return quoted;
}
