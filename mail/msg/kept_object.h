#pragma once

#include "mail/msg/name_mapping.h"
#include "mail/msg/stored_property.h"
#include "store/property_bag.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host::msg {

/// A property as it was read.
struct kept_property
{
    stored_property stored;
    std::uint32_t id = 0; ///< in the property bag; 0: it is in none and is written again in any case
    /// What was read for `id`. While the bag still has this, `stored` is written again as it is.
    property_value value;
    /// A further entry for `id`, which the bag doesn't show; it stays as long as the one that it shows.
    bool shadow = false;
};

/// Everything about an object of a message file that its property bag doesn't say. An object of which nothing was
/// changed is written from it byte for byte.
struct kept_object final : property_origin
{
    std::string header; ///< what precedes the entries
    std::vector<kept_property> properties;
    storage_tree rest; ///< streams and storages that belong to no property
    std::string name;  ///< of its storage; empty for the root
    GUID class_id{};
    std::shared_ptr<const name_mapping> names; ///< of the file
    bool narrow = false;                       ///< all its texts are in the code page
    std::uint32_t code_page = 0;
};

/// What an object kept; null when it was read from something else than a message file.
inline const kept_object* kept_of(const property_bag& properties)
{
    return dynamic_cast<const kept_object*>(properties.origin().get());
}

} // namespace host::msg
