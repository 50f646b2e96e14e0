#include "outlook/qdmailprotect/check/attachment_filter.h"

#include <algorithm>
#include <iterator>
#include <locale>
#include <string_view>

namespace {

constexpr std::wstring_view ExecutableExtensions[] = {
    L"VBS", L"VBE", L"JS",  L"JSE", L"PS1", L"PSD1", L"PSM1", L"PY",  L"PYD", L"BAT", L"CMD",
    L"MSI", L"MSP", L"MST", L"EXE", L"PL",  L"HTA",  L"CHM",  L"WSF", L"WSC", L"WSH", L"SCT",
};

} // namespace

bool IsExtensionAllowed(const std::wstring& fileName)
{
    const std::size_t dot = fileName.rfind(L'.');
    if (dot == std::wstring::npos) {
        return true;
    }
    const std::locale locale;
    const auto& types = std::use_facet<std::ctype<wchar_t>>(locale);
    std::wstring extension = fileName.substr(dot + 1);
    while (!extension.empty() && types.is(std::ctype_base::space | std::ctype_base::blank, extension.back())) {
        extension.pop_back();
    }
    types.toupper(extension.data(), extension.data() + extension.size());
    return std::find(std::begin(ExecutableExtensions), std::end(ExecutableExtensions), extension) ==
           std::end(ExecutableExtensions);
}
