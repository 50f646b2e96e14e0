#pragma once

#include "store/name_table.h"
#include "store/property_bag.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace host {

struct message_record;

/// The maximum nesting depth up to which attached messages are converted to embedded messages; deeper ones are kept in
/// their original form.
inline constexpr int deepest_embedded = 32;

/// One attachment: its properties, and the embedded message if the method requires one.
struct attachment_record
{
    std::shared_ptr<property_bag> properties = std::make_shared<property_bag>();
    std::shared_ptr<const message_record> embedded;

    /// Returns an independent copy of the record; contents remain shared.
    [[nodiscard]] attachment_record copy() const;
    /// Returns the size of the contents in bytes: that of the data or that of the embedded message.
    [[nodiscard]] std::uint64_t size() const;
};

/// The behavior of a store where MAPI leaves the choice to it.
struct store_rules
{
    /// GetProps returns MAPI_E_NOT_ENOUGH_MEMORY for values of more bytes; these can be opened as a stream.
    std::uint64_t large_value = 16384;
    /// Whether an object that was opened without MAPI_MODIFY may be modified, which a store is free to allow.
    bool generous = true;
};

/// The data that all messages of one store share.
struct store_context
{
    name_table names;
    store_rules rules;
};

/// Specifies what a reader could not read of a damaged file.
struct incomplete_reading
{
    std::filesystem::path file;
    std::vector<std::string> warnings; ///< for display; at least one
};

/// One message: its properties, attachments by number, and recipients. A shared record must not be modified; an open
/// object works on a copy.
struct message_record
{
    std::shared_ptr<store_context> store = std::make_shared<store_context>();
    std::shared_ptr<property_bag> properties = std::make_shared<property_bag>();
    std::map<std::uint32_t, attachment_record> attachments;
    std::vector<std::shared_ptr<const property_bag>> recipients;
    std::shared_ptr<const incomplete_reading> incomplete; ///< null if everything was read

    [[nodiscard]] message_record copy() const;
    /// Returns the record of an object that has been closed, without copying what nothing will change any more: the
    /// properties are shared with the object.
    [[nodiscard]] message_record last_state() const;
    /// Returns the size of all properties and attachments in bytes.
    [[nodiscard]] std::uint64_t size() const;
};

/// Receives the changes of an open object at SaveChanges.
using message_commit = std::function<HRESULT(const message_record& changed)>;
using attachment_commit = std::function<HRESULT(const attachment_record& changed)>;

} // namespace host
