#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What the protocol engine is compared with: other parsers of heads, and the least work that finds their parts.
namespace bench {

/// Finds each line end and the first colon of each line in a head, and stores their offsets. Checks nothing. Returns
/// the count of lines. It is the floor of a parser of heads.
[[nodiscard]] std::size_t scan_lines_and_colons(std::string_view head);

/// Parses the head of an HTTP response or request by Boost.Beast into its table of fields. Returns the count of fields.
/// Throws std::runtime_error if the head is refused.
[[nodiscard]] std::size_t parse_response_by_beast(std::string_view head);
[[nodiscard]] std::size_t parse_request_by_beast(std::string_view head);

/// The same by Boost.Beast's basic parser, which passes each field on and stores nothing.
[[nodiscard]] std::size_t read_response_by_beast(std::string_view head);
[[nodiscard]] std::size_t read_request_by_beast(std::string_view head);

/// Walks over chunks of one size: reads each chunk line, skips the payload, and returns the sum of the sizes.
[[nodiscard]] std::uint64_t walk_over_chunks(std::string_view wire);

/// Base64 by OpenSSL. `out` has room for the result, and for the zero that OpenSSL adds. Both return its size.
std::size_t decode_by_openssl(std::string_view text, std::string& out);
std::size_t encode_by_openssl(std::string_view bytes, std::string& out);

} // namespace bench
