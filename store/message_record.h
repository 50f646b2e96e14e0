#pragma once

#include "store/name_table.h"
#include "store/property_bag.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace host {

struct message_record;

/// So many messages inside one another become embedded ones; what lies deeper is kept as it came.
inline constexpr int deepest_embedded = 32;

/// One attachment: its properties, and the message inside when the method says so.
struct attachment_record
{
    std::shared_ptr<property_bag> properties = std::make_shared<property_bag>();
    std::shared_ptr<const message_record> embedded;

    /// A record that changes on its own; contents stay shared.
    [[nodiscard]] attachment_record copy() const;
    /// Bytes of the contents: the data's size, or that of the message inside.
    [[nodiscard]] std::uint64_t size() const;
};

/// How a store behaves where MAPI leaves the choice to it.
struct store_rules
{
    /// GetProps answers MAPI_E_NOT_ENOUGH_MEMORY for values of more bytes; they open as a stream.
    std::uint64_t large_value = 16384;
    /// Whether an object that was opened without MAPI_MODIFY may be changed all the same, as a store is free to allow.
    bool generous = true;
};

/// What all messages of one store share.
struct store_context
{
    name_table names;
    store_rules rules;
};

/// One message: its properties, attachments by number, and recipients. Whoever holds a shared record changes nothing
/// in it; an open object works on a copy.
struct message_record
{
    std::shared_ptr<store_context> store = std::make_shared<store_context>();
    std::shared_ptr<property_bag> properties = std::make_shared<property_bag>();
    std::map<std::uint32_t, attachment_record> attachments;
    std::vector<std::shared_ptr<property_bag>> recipients;

    [[nodiscard]] message_record copy() const;
    /// Bytes of all properties and attachments.
    [[nodiscard]] std::uint64_t size() const;
};

/// Where the changes of an open object go at SaveChanges.
using message_commit = std::function<HRESULT(const message_record& changed)>;
using attachment_commit = std::function<HRESULT(const attachment_record& changed)>;

} // namespace host
