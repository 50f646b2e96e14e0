#pragma once

#include "tool/icap/message.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The Encapsulated header: its text, its record, and the record of a message that is being put together.
namespace icap {

/// The result of reading the value of an Encapsulated header.
struct encapsulated_list
{
    std::size_t length = 0; ///< bytes of the value that belong to the list; what stands behind is ignored
    encapsulated_offsets offsets;
};

/// Reads a list such as "req-hdr=0, res-hdr=40, res-body=90"; nothing when not even the first entry can be read.
/// Accepted: blanks and tabs around "=", any white space behind ",", anything behind the list. Names count case.
/// Of two entries of one name the first counts. An entry with a gap ahead of its "=" belongs to the list but is not
/// recorded. Offsets beyond 31 bits become the largest 31-bit number.
[[nodiscard]] std::optional<encapsulated_list> read_encapsulated(std::string_view value) noexcept;

/// The record that fits a message with these HTTP messages; either may be null. Raises std::runtime_error
/// "'req_body' cannot be placed side-by-side with 'res_body'" for a request with a body beside a response.
[[nodiscard]] encapsulated_offsets encapsulated_from_messages(http::message* request, http::message* response);

/// The header's value. Raises std::runtime_error "'req-body' cannot be placed side-by-side with 'res-body'". "opt-body"
/// is never written. A record of nothing but `null_body` gives ", null-body=N", which no reader accepts.
[[nodiscard]] std::string encapsulated_text(const encapsulated_offsets& offsets);

} // namespace icap
