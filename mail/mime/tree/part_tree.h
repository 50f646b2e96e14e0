#pragma once

#include "mail/mime/text/mail_origin.h"
#include "store/bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One header of a part by its offsets: from its first character up to the end of its last line.
struct header_place
{
    std::string name;
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// One part of a document by its offsets. Lines are not changed and contents are not read: what no one edits can be
/// copied as it is. An attached message is a part like a file.
struct part_place
{
    std::uint64_t begin = 0;       ///< of the headers
    std::uint64_t headers_end = 0; ///< without the empty line
    std::uint64_t body = 0;        ///< of the contents
    std::uint64_t end = 0;         ///< of the contents; the line end ahead of a delimiter belongs to the delimiter
    bool has_blank_line = false;   ///< an empty line ends the headers
    std::string type;              ///< in lower case, such as "multipart/mixed"
    std::string boundary;          ///< empty for everything but a multipart
    std::vector<header_place> headers;

    /// The parts of a multipart, and the begin of the delimiter line ahead of each.
    std::vector<part_place> parts;
    std::vector<std::uint64_t> delimiters;
    std::uint64_t closing = 0; ///< begin of the last delimiter line; `end` if there is none
    bool is_closed = false;    ///< there is a last delimiter line

    /// Returns the begin of the delimiter line that follows a part of a multipart, or the end if none follows.
    [[nodiscard]] std::uint64_t next_delimiter(std::size_t number) const
    {
        return number + 1 < delimiters.size() ? delimiters[number + 1] : closing;
    }
};

/// The depth of multiparts below which a part is not divided.
inline constexpr std::size_t deepest_parts = 100;

/// Finds the parts of a document. Every sequence of bytes has them: a multipart without its boundary is a single part,
/// one without its last delimiter ends where the enclosing one goes on.
part_place find_parts(const bytes& source);

/// Returns the part at a path; null if there is none.
const part_place* part_at(const part_place& whole, const part_path& path);

/// Returns the line end of a document: that of its first line, CR LF if it has none.
std::string line_end_of(const bytes& source);

/// Returns the first header with the name, compared without regard to case; null if there is none.
const header_place* find_header(const part_place& part, std::string_view name);

/// Returns the bytes of a range as text.
std::string text_of_range(const bytes& source, std::uint64_t begin, std::uint64_t end);

} // namespace host
