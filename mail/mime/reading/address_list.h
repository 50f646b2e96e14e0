#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// A mailbox in UTF-8. The name is empty if none is specified.
struct mail_address
{
    std::string name;
    std::string address;
};

/// Returns the mailboxes in the raw value of a header such as To, in their order; members of groups are included.
/// Malformed input is read as far as possible and the rest is omitted. The running time is linear in the length of the
/// value for any input.
std::vector<mail_address> read_addresses(std::string_view value);

} // namespace host
