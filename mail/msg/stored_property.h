#pragma once

#include "mail/msg/layout.h"
#include "store/property_value.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host::msg {

/// A property as stored in a message file: its entry in the list, and the streams or the storage that contain the
/// value.
struct stored_property
{
    property_entry entry{};
    std::vector<storage_tree::stream> streams; ///< for a list of streams: the lengths, then the elements in order
    std::vector<storage_tree::storage> storages;

    [[nodiscard]] std::uint32_t tag() const { return tag_of(entry); }
};

/// Returns the value of a property. Narrow text is in `code_page`, or in the 8-bit code page of its language if
/// `code_page` is a 7-bit one and the text is not. One zero at the end of a text is its terminator and
/// not part of it. Throws unreadable_message if the parts are inconsistent.
property_value decode(const stored_property& stored, std::uint32_t code_page);

/// Returns the stored form of a new property. Throws std::runtime_error if the contents are too large for a file.
stored_property encode(std::uint32_t tag, const property_value& value);

/// Returns the property under another tag, with its streams and storages renamed.
stored_property renamed(const stored_property& stored, std::uint32_t tag);

/// Returns a text that contains the reason and the property that it concerns.
std::string property_problem(std::uint32_t tag, const char* reason);
/// Throws unreadable_message with the reason and the property that it concerns.
[[noreturn]] void refuse_property(std::uint32_t tag, const char* reason);

} // namespace host::msg
