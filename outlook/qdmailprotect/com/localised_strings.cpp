#include "outlook/qdmailprotect/com/localised_strings.h"

#include "outlook/qdmailprotect/com/own_module.h"

#include <algorithm>

namespace {

std::wstring TextOf(HMODULE module, std::uint32_t id)
{
    // With a buffer size of 0 the call returns a pointer to the resource itself, which is not terminated.
    const wchar_t* text = nullptr;
    const int length = ::LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
    if (length <= 0 || !text) {
        return {};
    }
    return std::wstring(text, std::min(static_cast<std::size_t>(length), LocalisedStrings::LongestText));
}

} // namespace

void LocalisedStrings::LoadLibraryBeside(const std::wstring& modulePath)
{
    library_.reset(::LoadLibraryW(BesidePath(modulePath, LibraryName).c_str()));
}

std::wstring LocalisedStrings::Load(std::uint32_t id) const
{
    std::wstring text;
    if (library_) {
        text = TextOf(library_.get(), id);
    }
    return text.empty() ? TextOf(OwnModule(), id) : text;
}
