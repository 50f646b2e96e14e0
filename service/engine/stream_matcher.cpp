#include "service/engine/stream_matcher.h"

#include <algorithm>
#include <utility>

namespace service {

stream_matcher::stream_matcher(std::string pattern)
    : pattern_(std::move(pattern))
    , searcher_(pattern_.cbegin(), pattern_.cend())
{}

bool stream_matcher::stands_in(std::string_view text) const
{
    return searcher_(text.begin(), text.end()).first != text.end();
}

bool stream_matcher::feed(std::string_view piece)
{
    if (found_) {
        return true;
    }
    const std::size_t reach = pattern_.size() - 1;
    // A match across the boundary begins in the tail and ends within the first bytes of the piece.
    tail_.append(piece.substr(0, reach));
    found_ = stands_in(tail_) || stands_in(piece);
    if (piece.size() >= reach) {
        tail_.assign(piece.substr(piece.size() - reach));
    } else if (tail_.size() > reach) {
        tail_.erase(0, tail_.size() - reach);
    }
    return found_;
}

} // namespace service
