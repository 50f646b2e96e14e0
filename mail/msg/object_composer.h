#pragma once

#include "mail/msg/kept_object.h"
#include "mail/msg/storage_contents.h"

#include <cstdint>
#include <string>

namespace host::msg {

/// Specifies the form of texts that are new in a message.
struct text_form
{
    bool narrow = false; ///< in the code page if it has all characters, otherwise as Unicode
    std::uint32_t code_page = 0;
};

/// Adds an object's list of properties and their streams to its storage. Properties that were read and not changed come
/// first, in their original form and order, followed by all others. `header` is the data before the entries.
void compose_properties(const property_bag& bag, const kept_object* kept, object_kind kind, const text_form& texts,
                        std::string header, name_writer& names, storage_builder& target);

} // namespace host::msg
