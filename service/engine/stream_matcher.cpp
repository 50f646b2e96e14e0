#include "service/engine/stream_matcher.h"

#include <algorithm>

namespace service {

search_text::search_text(std::string_view text)
    : text_(text)
    , searcher_(text_.cbegin(), text_.cend())
{}

bool search_text::is_in(std::string_view bytes) const
{
    return searcher_(bytes.begin(), bytes.end()).first != bytes.end();
}

bool stream_matcher::feed(std::string_view piece)
{
    if (found_) {
        return true;
    }
    const std::size_t reach = text_.size() - 1;
    // A match across the boundary begins in the tail and ends within the first bytes of the piece.
    tail_.append(piece.substr(0, reach));
    found_ = text_.is_in(tail_) || text_.is_in(piece);
    if (piece.size() >= reach) {
        tail_.assign(piece.substr(piece.size() - reach));
    } else if (tail_.size() > reach) {
        tail_.erase(0, tail_.size() - reach);
    }
    return found_;
}

} // namespace service
