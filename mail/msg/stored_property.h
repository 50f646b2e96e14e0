#pragma once

#include "mail/msg/layout.h"
#include "store/property_value.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host::msg {

/// A property as a message file holds it: its entry in the list, and the streams or the storage with the value.
struct stored_property
{
    property_entry entry{};
    std::vector<storage_tree::stream> streams; ///< of a list of streams: first the lengths, then the elements in order
    std::vector<storage_tree::storage> storages;

    [[nodiscard]] std::uint32_t tag() const { return tag_of(entry); }
};

/// The value of a property; narrow text is in `code_page`. One zero at the end of a text is its end, not part of it.
/// Raises unreadable_message when the parts don't fit together.
property_value decode(const stored_property& stored, std::uint32_t code_page);

/// A property as it is written for the first time. Raises std::runtime_error for contents that are too large for a
/// file.
stored_property encode(std::uint32_t tag, const property_value& value);

/// The same property under another tag, its streams and storages renamed.
stored_property renamed(const stored_property& stored, std::uint32_t tag);

/// A reason to refuse a file, with the property that it is about.
[[noreturn]] void refuse_property(std::uint32_t tag, const char* reason);

} // namespace host::msg
