#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// A mailbox in UTF-8; the name is empty when none is told.
struct mail_address
{
    std::string name;
    std::string address;
};

/// The mailboxes in the raw value of a header such as To, in their order; those of a group stand among the others. What
/// careless senders write is read as far as it goes, and the rest is left out. The work grows with the length of the
/// value alone, whatever a stranger wrote there.
std::vector<mail_address> read_addresses(std::string_view value);

} // namespace host
