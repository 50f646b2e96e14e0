#pragma once

#include <string>
#include <string_view>

namespace test {

enum class zip_method
{
    stored,
    deflated
};

/// Returns a ZIP archive with one file.
[[nodiscard]] std::string zip_archive(std::string_view name, std::string_view content, zip_method method);

} // namespace test
