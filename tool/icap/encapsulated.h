#pragma once

#include "tool/icap/message.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The Encapsulated header: its text, its record, and the record of a message that is being assembled.
namespace icap {

/// The result of reading the value of an Encapsulated header.
struct encapsulated_list
{
    std::size_t length = 0;       ///< bytes of the value that belong to the list; the rest is ignored
    encapsulated_offsets offsets; ///< the entries that were recorded
};

/// Reads a list such as "req-hdr=0, res-hdr=40, res-body=90". Returns nothing if the first entry cannot be read. A
/// later entry that cannot be read ends the list.
///
/// Tolerated: blanks and tabs behind "=", any white space behind ",", any bytes behind the list, entries in any order,
/// and several entries of one name, of which the first counts. An entry with blanks or tabs ahead of "=" belongs to the
/// list but is not recorded.
///
/// Refused as an entry: names in capitals or unknown names, white space ahead of the first entry or of ",", offsets
/// without digits or with a sign.
///
/// An offset above 2147483647 becomes 2147483647.
[[nodiscard]] std::optional<encapsulated_list> read_encapsulated(std::string_view value) noexcept;

/// Returns the record that fits an ICAP message with these HTTP messages, of which either or both may be null. Throws
/// std::runtime_error "'req_body' cannot be placed side-by-side with 'res_body'" for a request with a body beside a
/// response.
[[nodiscard]] encapsulated_offsets encapsulated_from_messages(http::message* request, http::message* response);

/// Returns the header's value for a record. "opt-body" is never written. A record with `null_body` only gives ",
/// null-body=N", which read_encapsulated() refuses. Throws std::runtime_error "'req-body' cannot be placed side-by-side
/// with 'res-body'".
[[nodiscard]] std::string encapsulated_text(const encapsulated_offsets& offsets);

} // namespace icap
