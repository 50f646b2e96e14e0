#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace service {

/// Finds a text in a stream of pieces, including matches across piece boundaries. Keeps at most the last bytes of the
/// stream, one less than the length of the text.
class stream_matcher
{
public:
    /// `pattern` must not be empty.
    explicit stream_matcher(std::string pattern);
    stream_matcher(const stream_matcher&) = delete;
    stream_matcher& operator=(const stream_matcher&) = delete;

    /// Consumes the next bytes. Returns found().
    bool feed(std::string_view piece);
    /// Returns true if the stream so far contains the text.
    [[nodiscard]] bool found() const noexcept { return found_; }

private:
    [[nodiscard]] bool stands_in(std::string_view text) const;

    std::string pattern_;
    std::boyer_moore_horspool_searcher<std::string::const_iterator> searcher_;
    std::string tail_; ///< the last bytes received, as far as a match may begin in them
    bool found_ = false;
};

} // namespace service
