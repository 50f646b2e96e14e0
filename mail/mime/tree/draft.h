#pragma once

#include "mail/mime/tree/part_tree.h"
#include "store/joined_bytes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace host {

/// A part of a document that is edited: a part of the original, or a new one. What is not touched is copied byte by
/// byte.
struct draft_part
{
    const part_place* place = nullptr; ///< of an original part; null for a new one
    /// The header lines of a new part, each with its line end. Of an original part with new contents: those that
    /// replace its Content-Transfer-Encoding.
    std::string headers;
    bytes_ptr content;    ///< encoded contents of a new part, or new ones of an original; may be null
    std::string boundary; ///< of a new multipart
    std::vector<std::unique_ptr<draft_part>> parts;
    std::optional<std::uint32_t> attachment; ///< the number of the attachment that the part is
    bool is_placeholder = false;             ///< an empty text where a multipart would have no part
};

using draft_ptr = std::unique_ptr<draft_part>;

/// The original document and the changes to it. The original outlives the draft.
class draft
{
public:
    draft(bytes_ptr source, const part_place& whole);

    /// Returns the part at a path of the original, wherever it is now; null if it was removed.
    draft_part* find(const part_path& path);
    [[nodiscard]] draft_part& root() noexcept { return *root_; }
    [[nodiscard]] const std::string& line_end() const noexcept { return line_end_; }

    /// Puts a part in the place of another one.
    void replace(draft_part& old, draft_ptr with);
    /// Removes a part with its delimiter line. The last part of a multipart, or the whole document, becomes an empty
    /// text, until the multipart gets another part.
    void remove(draft_part& old);
    /// Puts a new multipart in the place of a part, which becomes its first part.
    draft_part& wrap(draft_part& inner, std::string_view subtype, std::string_view parameters = {});
    /// Puts a part at the beginning or the end of the document. If it is no multipart/mixed, it becomes one.
    void put_first(draft_ptr part);
    void put_last(draft_ptr part);
    /// Replaces all headers of the message with the name; `lines` may be empty. New ones take the place of the first.
    void set_header(std::string_view name, std::string lines);

    /// Returns the edited document.
    [[nodiscard]] bytes_ptr finish();
    /// Returns the numbers of the attachments in the order of their parts.
    [[nodiscard]] std::vector<std::uint32_t> attachments() const;

private:
    struct header_change
    {
        std::string name;
        std::string lines;
    };

    void remember(draft_part& part);
    void forget(const draft_part& part);
    draft_part& mixed_root();
    draft_ptr& slot_of(const draft_part& part);

    bytes_ptr source_;
    const part_place& whole_;
    std::string line_end_;
    draft_ptr root_;
    std::unordered_map<const part_place*, draft_part*> originals_;
    std::vector<header_change> headers_;
    std::uint64_t boundaries_ = 0; ///< number of the last one

    friend class draft_writer;
};

/// Returns a new part with the contents in base64 or, for text in a document with the line ends of mail, in
/// quoted-printable. `headers` are its other header lines. The contents are read at once and piece by piece.
draft_ptr make_leaf(std::string headers, const bytes& contents, bool is_text, const std::string& line_end);

} // namespace host
