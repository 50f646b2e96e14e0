#pragma once

#include "store/bytes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// One line of a document by its offsets.
struct source_line
{
    std::uint64_t begin = 0;
    std::uint64_t end = 0; ///< behind the line end
    unsigned ending = 0;   ///< size of the line end: 2 for CR LF, 1 for LF, 0 at the end of the document
    /// The line without its line end, or the first `source_lines::longest_text` bytes of it. Valid until the next line
    /// is read.
    std::string_view text;
};

/// Reads a document line by line with little memory, however long the lines are. Not thread-safe.
class source_lines
{
public:
    static constexpr std::size_t longest_text = 16384;

    explicit source_lines(const bytes& source);
    /// Returns false at the end.
    bool next(source_line& line);

private:
    bool fill();

    const bytes& source_;
    std::uint64_t size_;
    std::uint64_t offset_ = 0; ///< of the block
    std::string block_;
    std::size_t used_ = 0; ///< bytes of the block that were returned
    std::string text_;
};

} // namespace host
