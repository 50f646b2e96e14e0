#pragma once

#include <string>
#include <string_view>

namespace host {

/// What the value of a Content-Type header says about the structure of a document.
struct content_type
{
    std::string type; ///< in lower case, such as "multipart/mixed"; empty if the value is none
    std::string boundary;

    [[nodiscard]] bool is_multipart() const { return type.starts_with("multipart/"); }
};

/// Reads the value of a Content-Type header, which may be folded. Comments are skipped.
content_type parse_content_type(std::string_view value);

} // namespace host
