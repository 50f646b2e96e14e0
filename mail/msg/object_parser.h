#pragma once

#include "mail/msg/kept_object.h"
#include "mail/msg/storage_contents.h"
#include "store/message_record.h"

#include <cstdint>
#include <memory>

namespace host::msg {

/// What the objects of one file have in common.
struct file_context
{
    std::shared_ptr<store_context> store;
    std::shared_ptr<const name_mapping> names;
};

/// Takes the properties of one object out of its storage and fills `bag` with them. The result still wants what is left
/// of the storage. `inherited` is the code page of the message around it, for an object that tells none.
/// Raises unreadable_message with the reason.
std::shared_ptr<kept_object> parse_properties(storage_contents& storage, object_kind kind, const file_context& file,
                                              std::uint32_t inherited, property_bag& bag);

} // namespace host::msg
