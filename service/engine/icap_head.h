#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace service {

/// The status codes that have a meaning of their own.
namespace icap_status {
inline constexpr unsigned go_on = 100;
inline constexpr unsigned ok = 200;
inline constexpr unsigned no_content = 204;
inline constexpr unsigned first_redirection = 300;
inline constexpr unsigned too_large = 413;
} // namespace icap_status

/// The head of an ICAP or HTTP answer.
struct icap_head
{
    unsigned status = 0; ///< 100 to 599
    std::vector<std::pair<std::string, std::string>> fields;

    /// Returns the value of the first field with this name, in any case of letters; empty if there is none. The line
    /// ends of a folded value are "\n".
    [[nodiscard]] std::string_view field(std::string_view name) const;
    /// Returns the values of all fields with this name that are not empty.
    [[nodiscard]] std::vector<std::string_view> all(std::string_view name) const;
    /// Returns true if there is a field with this name that is not empty.
    [[nodiscard]] bool has(std::string_view name) const { return !all(name).empty(); }
};

/// Reads a whole head: a line "PROTOCOL/VERSION STATUS REASON", fields, a blank line. Throws std::runtime_error for any
/// other text.
///
/// The grammar of tool/http joins a line without a colon with the next one, which would hide a field that condemns an
/// object; this one refuses such a line.
[[nodiscard]] icap_head read_icap_head(std::string_view text, std::string_view protocol);

/// Returns the length of the head that `text` begins with, including its blank line; 0 if it has no end yet. The first
/// `searched` bytes contain none.
[[nodiscard]] std::size_t head_length(std::string_view text, std::size_t searched);

/// What the Encapsulated field announces. Lengths are in bytes.
struct encapsulated_parts
{
    std::size_t request_head = 0;
    std::size_t response_head = 0;
    bool has_body = false;
    bool is_response = true; ///< there is no part of a request
};

/// Reads the value of an Encapsulated field. Throws std::runtime_error unless it is a list of known parts in the order
/// of their offsets, the last of which is a body or "null-body", with heads of at most `most_heads` bytes in total.
[[nodiscard]] encapsulated_parts read_encapsulated_parts(std::string_view value, std::size_t most_heads);

} // namespace service
