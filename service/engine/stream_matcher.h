#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace service {

/// A text to search for. Prepared once, it serves any number of threads.
class search_text
{
public:
    /// `text` must not be empty.
    explicit search_text(std::string_view text);
    search_text(const search_text&) = delete;
    search_text& operator=(const search_text&) = delete;

    [[nodiscard]] std::size_t size() const noexcept { return text_.size(); }
    [[nodiscard]] bool is_in(std::string_view bytes) const;

private:
    std::string text_;
    std::boyer_moore_horspool_searcher<std::string::const_iterator> searcher_;
};

/// Finds a text in a stream of pieces, including matches across piece boundaries. Keeps at most the last bytes of the
/// stream, one less than the length of the text.
class stream_matcher
{
public:
    /// `text` must outlive the matcher.
    explicit stream_matcher(const search_text& text)
        : text_(text)
    {}

    /// Consumes the next bytes. Returns found().
    bool feed(std::string_view piece);
    /// Returns true if the stream so far contains the text.
    [[nodiscard]] bool found() const noexcept { return found_; }

private:
    const search_text& text_;
    std::string tail_; ///< the last bytes received, as far as a match may begin in them
    bool found_ = false;
};

} // namespace service
