#pragma once

#include "tool/icap/request_message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// The head of a request, with what it specifies about the bytes that follow it.
///
/// Tolerated beyond what the protocol engine accepts, because clients other than the mail add-in may send it:
/// - a RESPMOD without req-hdr, res-hdr or both, and a REQMOD without req-hdr;
/// - in Encapsulated: any case of letters, and white space, folds included, around "=" and ",";
/// - blanks and tabs between a header's name and its colon, tabs ahead of a value, blanks and folds behind it;
/// - 204 at any place in the list of "Allow";
/// - a URI with any authority, port and query, or without scheme and authority.
struct request_head
{
    std::string text; ///< start line and headers with plain values, without Encapsulated and the blank line
    icap::request_method method = icap::request_method::unknown;
    std::string path; ///< of the URI, with its leading "/"; empty if there is none
    bool allows_204 = false;
    std::optional<std::uint64_t> preview;     ///< as icap::request_message::preview_size()
    std::optional<std::size_t> http_request;  ///< size of that encapsulated head; nothing if it is absent
    std::optional<std::size_t> http_response; ///< size of that encapsulated head; nothing if it is absent
    bool has_body = false;

    /// Returns the bytes of the encapsulated heads that follow.
    [[nodiscard]] std::size_t heads_size() const { return http_request.value_or(0) + http_response.value_or(0); }
};

/// The longest encapsulated head.
inline constexpr std::size_t longest_head = 16640;

/// Reads the head that `text` begins with. `size` receives its length. Returns nothing if there is no whole head.
/// Throws bad_request for a head whose Encapsulated header does not fit the method.
[[nodiscard]] std::optional<request_head> read_request_head(std::string_view text, std::size_t& size);

/// Returns true for the head of a POST or of another request that has a body, if it specifies neither the length nor
/// the framing: its sender has removed the framing, which ends at its own connection. A GET or HEAD with a preview has
/// no body: the mail add-in sends zeros in its place.
[[nodiscard]] bool lacks_framing(const request_head& head, std::string_view http_request);

/// Makes the request that `head` and the encapsulated heads specify, of which `heads` contains head.heads_size() bytes.
/// An absent HTTP head is replaced by a plain one, and a request that lacks_framing() gets it. Throws bad_request if an
/// encapsulated head does not end where Encapsulated specifies, and what icap::request_message throws.
[[nodiscard]] std::unique_ptr<icap::request_message> make_request(const request_head& head, std::string_view heads);

} // namespace service
