#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// How many contents of other computers an HTML page requests when it is displayed.
struct remote_contents
{
    std::size_t images = 0;
    std::size_t styles = 0;
    std::size_t fonts = 0;
    std::size_t others = 0; ///< scripts, frames, media, connections

    [[nodiscard]] std::size_t total() const noexcept { return images + styles + fonts + others; }
    /// Returns "2 images, 1 style sheet"; empty if there are none.
    [[nodiscard]] std::string words() const;
    remote_contents& operator+=(const remote_contents& other) noexcept;
};

/// Counts the remote contents of a page. The result is meant for display; whether something is loaded does not depend
/// on it.
[[nodiscard]] remote_contents remote_contents_of(std::string_view page);

} // namespace host
