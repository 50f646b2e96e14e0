#pragma once

#include "broker/access_rules.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace broker {

/// A file whose contents are not used. why() is a text for the administrator.
class unusable_file : public std::runtime_error
{
public:
    enum class fault
    {
        refused,   ///< others than administrators can change the file or its folder
        unreadable ///< it does not exist, cannot be read, or is too large
    };
    unusable_file(fault what, std::wstring why)
        : std::runtime_error("a file cannot be used")
        , what_(what)
        , why_(std::move(why))
    {}
    [[nodiscard]] fault what_is_wrong() const noexcept { return what_; }
    [[nodiscard]] const std::wstring& why() const noexcept { return why_; }

private:
    fault what_;
    std::wstring why_;
};

/// Returns the contents of a file that only administrators can change: `rules` accept the file and its folder, and
/// neither is a link. The file that is checked is the one that is read. `path` is absolute. Throws unusable_file.
[[nodiscard]] std::string read_protected_file(const std::wstring& path, const access_rules& rules, std::size_t largest);

/// Throws unusable_file unless `rules` accept the file itself, whatever its folder, and it is no link.
void check_protected_file(const std::wstring& path, const access_rules& rules);

} // namespace broker
