#pragma once

#include <cstdint>
#include <map>
#include <string_view>

namespace http {

/// A piece of a head's text: pointer and length into the raw head buffer, never a copy.
using range = std::string_view;

/// Order of header names: ASCII case-blind over the shorter length, the shorter name first on a tie; an empty name
/// is not ordered.
struct field_less
{
    using is_transparent = void;
    bool operator()(range left, range right) const noexcept;
};

/// Header table. insert/emplace keep the entry that is already there: of two lines of one name the first counts.
using fields = std::map<range, range, field_less>;

/// The start line and headers of a request.
struct request_data
{
    range protocol; ///< "ICAP" or "HTTP"
    range method;
    range uri;
    range version;
    http::fields fields;
};

/// The start line and headers of a response.
struct response_data
{
    range protocol;
    range version;
    std::uint32_t status = 0;
    range reason;
    http::fields fields;
};

/// What a range of bytes is as a head.
enum class head_status : std::uint32_t
{
    invalid = 1,  ///< these bytes are not a head of this kind
    complete = 2, ///< the whole head is here
    partial = 3   ///< more bytes are needed to tell
};

} // namespace http
