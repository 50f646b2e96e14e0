#pragma once

#include <string_view>

namespace host {

/// The style sheet of the report. It requests nothing: fonts are those of the system.
extern const std::string_view page_style_sheet;

/// The mark of the program, which is also the page's icon: an SVG element without colours of its own.
extern const std::string_view page_mark;

} // namespace host
