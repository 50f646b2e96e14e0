#pragma once

#include <string>
#include <string_view>

namespace service {

/// Returns the page that replaces a blocked object: UTF-8 HTML, readable on light and dark backgrounds, with one inline
/// image and no external resources. Both arguments come from outside and are escaped. An empty name is omitted.
[[nodiscard]] std::string notice_page(std::string_view threat, std::string_view object_name);

} // namespace service
