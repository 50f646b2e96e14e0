#pragma once

#include "mail/mime/tree/draft.h"

#include <string>

namespace host {

/// Writes a draft: ranges of the original for everything that was not touched, and new lines between them.
class draft_writer
{
public:
    explicit draft_writer(const draft& from);
    bytes_ptr write();

private:
    void write_message_headers();
    /// Returns the headers that describe the contents, if these are no longer the original ones.
    [[nodiscard]] std::string description() const;
    /// Writes headers and contents of a part.
    void write_part(const draft_part& part);
    void write_headers(const draft_part& part);
    void write_contents(const draft_part& part);
    void write_parts(const draft_part& multipart);
    void write_line_end() { out_.add(from_.line_end_); }
    void copy(std::uint64_t begin, std::uint64_t end);
    /// Copies header lines. The last line of the document may have no line end; it is added.
    void copy_headers(std::uint64_t begin, std::uint64_t end);
    [[nodiscard]] bool is_intact(const draft_part& part) const;

    const draft& from_;
    bytes_joiner out_;
};

} // namespace host
