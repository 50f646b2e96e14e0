#pragma once

#include "mail/msg/kept_object.h"
#include "mail/msg/storage_contents.h"
#include "store/message_record.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host::msg {

/// The data that the objects of one file share.
struct file_context
{
    std::shared_ptr<store_context> store;
    std::shared_ptr<const name_mapping> names;
    std::vector<std::string> warnings; ///< what could not be read
};

/// Removes the properties of one object from its storage and fills `bag` with them. The caller must add the remaining
/// contents of the storage to the result. `inherited` is the code page of the enclosing message. A list that is
/// cut off, and texts without a stream, are added to the warnings of `file`. Throws unreadable_message with the reason.
std::shared_ptr<kept_object> parse_properties(storage_contents& storage, object_kind kind, file_context& file,
                                              narrow_page inherited, property_bag& bag);

} // namespace host::msg
