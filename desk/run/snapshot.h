#pragma once

#include "store/message_record.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// The state of one attachment.
struct attachment_snapshot
{
    std::uint32_t number = 0;
    std::string name; ///< see attachment_name()
    std::uint32_t method = 0;
    std::string mime_tag;
    std::string content_id;
    bool hidden = false;
    std::uint64_t size = 0;
    bytes_ptr data; ///< null if it contains a message
    std::shared_ptr<const message_record> embedded;
};

/// The state of a message. Contents are shared, not copied: later writes go to other buffers.
struct message_snapshot
{
    std::string subject;
    std::string sender; ///< name and address for display
    std::string message_class;
    std::uint32_t body_type = 0; ///< from the native body property; 0 if it is missing
    bytes_ptr body;              ///< plain text in UTF-8; null if absent
    bytes_ptr html;              ///< null if absent
    std::uint32_t html_page = 0; ///< code page of `html`; 0 if it is missing
    std::uint64_t size = 0;      ///< of all properties and attachments, in bytes
    std::optional<std::uint32_t> verdict_property;
    std::vector<attachment_snapshot> attachments; ///< by number
};

/// Returns the name that the check and the reports give an attachment: display name, else long or short file name, in
/// UTF-8.
std::string attachment_name(const attachment_record& attachment);

message_snapshot take_snapshot(const message_record& message);

/// Returns the attachment with this number; null if there is none.
[[nodiscard]] const attachment_snapshot* attachment_with(const message_snapshot& message, std::uint32_t number);

/// Return true if both snapshots show the same attachment, or the same body.
[[nodiscard]] bool same_attachment(const attachment_snapshot& left, const attachment_snapshot& right);
[[nodiscard]] bool same_body(const message_snapshot& left, const message_snapshot& right);

/// Caches the digests of contents that several snapshots share. The snapshots must outlive it.
using digest_cache = std::map<const void*, std::string>;

/// Converts a snapshot to JSON. Contents are given as SHA-256 in hexadecimal, null for a missing body.
nlohmann::ordered_json to_json(const message_snapshot& snapshot, digest_cache& digests);

/// Describes the differences in words: "1 attachment replaced by a notice, body replaced, old text kept, subject
/// replaced". Returns an empty text if there are none. The verdict property is ignored.
std::string describe_changes(const message_snapshot& before, const message_snapshot& after);

} // namespace host
