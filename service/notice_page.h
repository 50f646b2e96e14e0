#pragma once

#include <string>
#include <string_view>

namespace service {

/// The page that stands for a blocked object: UTF-8 HTML, readable in light and dark surroundings, with one inline
/// image and nothing from outside. Both texts come from elsewhere and are escaped; an empty name is left out.
[[nodiscard]] std::string notice_page(std::string_view threat, std::string_view object_name);

} // namespace service
