#pragma once

#include "store/message_record.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// One attachment as it stood.
struct attachment_snapshot
{
    std::uint32_t number = 0;
    std::string name; ///< display name, else long or short file name; UTF-8
    std::uint32_t method = 0;
    std::string mime_tag;
    std::string content_id;
    bool hidden = false;
    std::uint64_t size = 0;
    bytes_ptr data; ///< null when it holds a message
    std::shared_ptr<const message_record> embedded;
};

/// A message as it stood. Contents are shared, not copied: what is written later goes elsewhere.
struct message_snapshot
{
    std::string subject;
    std::string message_class;
    std::uint32_t body_type = 0; ///< as the native body property has it; 0 without one
    bytes_ptr body;              ///< plain text in UTF-8; null when absent
    bytes_ptr html;              ///< null when absent
    std::optional<std::uint32_t> verdict_property;
    std::vector<attachment_snapshot> attachments; ///< by number
};

message_snapshot take_snapshot(const message_record& message);

/// Remembers the digests of contents that several snapshots share. The snapshots outlive it.
using digest_cache = std::map<const void*, std::string>;

/// The fields of a snapshot; contents as SHA-256 in hexadecimal, null for a body that isn't there.
nlohmann::ordered_json to_json(const message_snapshot& snapshot, digest_cache& digests);

/// What differs, in words for people: "1 attachment replaced by a notice, body replaced, old text kept, subject
/// replaced"; empty when nothing does. The verdict property doesn't count.
std::string describe_changes(const message_snapshot& before, const message_snapshot& after);

} // namespace host
