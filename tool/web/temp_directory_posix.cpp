#include "tool/system/conversions.h"
#include "tool/web/body_store.h"

#include <cstdlib>

namespace web {

std::wstring system_temp_directory()
{
    const char* const chosen = std::getenv("TMPDIR");
    const std::string directory = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
    return with_separator(winapi::conv_to_wide(directory, winapi::code_page_utf8));
}

std::wstring with_separator(std::wstring directory)
{
    if (directory.empty() || directory.back() != L'/') {
        directory.push_back(L'/');
    }
    return directory;
}

} // namespace web
