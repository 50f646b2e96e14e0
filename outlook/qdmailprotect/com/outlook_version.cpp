#include "outlook/qdmailprotect/com/outlook_version.h"

#include <cwchar>

namespace {

constexpr std::size_t ShortestVersion = 4;
constexpr long OldestVersion = 14;

} // namespace

bool IsSupportedVersion(const std::wstring& version)
{
    const auto point = version.find(L'.');
    if (version.size() < ShortestVersion || point == std::wstring::npos) {
        return false;
    }
    return std::wcstol(version.substr(0, point).c_str(), nullptr, 10) >= OldestVersion;
}
