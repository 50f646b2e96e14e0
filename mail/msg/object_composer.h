#pragma once

#include "mail/msg/kept_object.h"
#include "mail/msg/storage_contents.h"

#include <cstdint>
#include <string>

namespace host::msg {

/// How the texts of a message that are new in it are written.
struct text_form
{
    bool narrow = false; ///< in the code page, where it has all characters; else as Unicode
    std::uint32_t code_page = 0;
};

/// Adds an object's list of properties and what belongs to them to its storage: those that were read and not changed as
/// they were, in their old order, then the others. `header` is what precedes the entries.
void compose_properties(const property_bag& bag, const kept_object* kept, object_kind kind, const text_form& texts,
                        std::string header, name_writer& names, storage_builder& target);

} // namespace host::msg
