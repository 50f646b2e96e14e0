#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace host {

/// The attachments of a message in the order in which a reader of its document finds them.
struct document_order
{
    std::vector<std::optional<std::uint32_t>> numbers; ///< empty: a part that is no attachment of the message
    std::map<std::uint32_t, document_order> inside;    ///< of attached messages, by position in `numbers`
};

} // namespace host
