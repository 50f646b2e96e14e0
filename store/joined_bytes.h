#pragma once

#include "store/bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Returns a window on other bytes, which it keeps. What lies behind their end is not part of it.
bytes_ptr window_of(bytes_ptr source, std::uint64_t offset, std::uint64_t size = ~0ULL);

/// Collects pieces of other bytes and new text, and returns them as one sequence without copying the pieces.
class bytes_joiner
{
public:
    /// Appends a range; a range that is adjacent to the previous one of the same source extends it.
    void add(const bytes_ptr& source, std::uint64_t offset, std::uint64_t size);
    void add(const bytes_ptr& all) { add(all, 0, all->size()); }
    void add(std::string_view text) { text_ += text; }
    /// Returns what was added; the joiner is empty afterwards.
    bytes_ptr finish();

private:
    struct piece
    {
        bytes_ptr source;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        std::uint64_t at = 0; ///< position of the piece in the whole
    };
    class joined;

    void keep_text();

    std::vector<piece> pieces_;
    std::string text_;       ///< added last; not yet a piece
    std::uint64_t size_ = 0; ///< of the pieces
};

} // namespace host
