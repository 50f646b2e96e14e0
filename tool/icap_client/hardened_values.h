#pragma once

#include "tool/icap_client/scan_records.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace icap::client {

/// The longest values of a hardened mail request, in bytes: of the tag and the MIME type as written, of the others
/// ahead of their Base64. With all of them and a target of 100 bytes the heads of a request have less than 8192 bytes.
namespace longest_value {
inline constexpr std::size_t tag = 1000; ///< written twice
inline constexpr std::size_t mime_type = 255;
inline constexpr std::size_t subject = 2000;
inline constexpr std::size_t attach_name = 1000;
inline constexpr std::size_t process_name = 500;
inline constexpr std::size_t user_name = 200;
} // namespace longest_value

/// Returns `value` in visible ASCII: every other byte, and "%", is written as "%" and two upper-case hexadecimal
/// digits. A longer result than `longest` ends behind the last whole character of UTF-8 that fits.
[[nodiscard]] std::string visible_ascii(std::string_view value, std::size_t longest);

/// Returns the beginning of `text` of at most `longest` bytes that ends with a whole character of UTF-8. A byte that
/// belongs to no character counts as one.
[[nodiscard]] std::string_view whole_beginning(std::string_view text, std::size_t longest);

/// Returns a file name of at most `longest` bytes. A longer one loses the characters ahead of its extension, by which
/// a service may choose how it scans.
[[nodiscard]] std::string short_file_name(std::string_view name, std::size_t longest);

/// Returns the parameters with values that cannot affect the request: tag and MIME type in visible ASCII, all strings
/// no longer than specified above. Logs one line at level 300 for each value that was cut.
[[nodiscard]] scan_mail hardened_values(scan_mail parameters);

} // namespace icap::client
