#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace service {

/// Finds a text in a stream of pieces, also where it lies across the borders of pieces. Keeps at most the text's length
/// less one byte of what came.
class stream_matcher
{
public:
    /// `pattern` must not be empty.
    explicit stream_matcher(std::string pattern);
    stream_matcher(const stream_matcher&) = delete;
    stream_matcher& operator=(const stream_matcher&) = delete;

    /// Takes the next bytes; returns found().
    bool feed(std::string_view piece);
    /// The text stood somewhere in what came so far.
    [[nodiscard]] bool found() const noexcept { return found_; }

private:
    [[nodiscard]] bool stands_in(std::string_view text) const;

    std::string pattern_;
    std::boyer_moore_horspool_searcher<std::string::const_iterator> searcher_;
    std::string tail_; ///< the last bytes that came, as far as a match may begin in them
    bool found_ = false;
};

} // namespace service
