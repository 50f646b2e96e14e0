#pragma once

#include "mail/msg/name_mapping.h"
#include "mail/msg/stored_property.h"
#include "store/property_bag.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host::msg {

/// The code page of the narrow texts of an object; 0: the ANSI one.
struct narrow_page
{
    std::uint32_t number = 0;
    bool exact = false; ///< specified for these texts, not only for the message in transit
};

/// A property in the form in which it was read.
struct kept_property
{
    stored_property stored;
    std::uint32_t id = 0; ///< in the property bag; 0: not in the bag and always written again
    /// The value that was read for `id`. While the bag contains the same value, `stored` is written again unchanged.
    property_value value;
    /// An additional entry for `id` that the bag does not contain. It is kept as long as the entry in the bag.
    bool shadow = false;
};

/// The data of an object of a message file that its property bag does not contain. An unchanged object is written from
/// it byte for byte.
struct kept_object final : property_origin
{
    std::string header; ///< the data before the entries
    std::vector<kept_property> properties;
    storage_tree rest; ///< streams and storages that belong to no property
    std::string name;  ///< of its storage; empty for the root
    GUID class_id{};
    std::shared_ptr<const name_mapping> names; ///< of the file
    bool narrow = false;                       ///< all its texts are in the code page
    narrow_page page;
};

/// Returns the kept data of an object; null if it was not read from a message file.
inline const kept_object* kept_of(const property_bag& properties)
{
    return dynamic_cast<const kept_object*>(properties.origin().get());
}

} // namespace host::msg
