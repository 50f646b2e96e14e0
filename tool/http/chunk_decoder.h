#pragma once

#include "tool/http/message_headers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace http {

/// A size that is not known.
inline constexpr std::uint64_t unspecified_size = ~std::uint64_t{0};

/// One chunk: only the last of a list can be unfinished.
struct chunk_record
{
    std::uint64_t size = 0;
    std::uint64_t written = 0; ///< payload bytes that came so far
};

/// The result of reading one chunk line.
struct chunk_line_result
{
    std::uint64_t size = unspecified_size; ///< unspecified while no line is finished
    bool completed = false;                ///< it was the last chunk
    std::string extension;                 ///< last chunk only
    byte_vector trailers;                  ///< last chunk only
};

/// Reads chunk lines from pieces of any size and keeps the list of chunks. A line within one piece is read in place;
/// only a line that a piece cuts is gathered in `pending`, which has no bound.
class chunk_decoder
{
public:
    /// Reads a chunk line, after any number of line ends. `used` becomes the count of bytes taken: up to the end of the
    /// line, or all of them when no line is finished.
    chunk_line_result read_line(const char* begin, const char* end, std::uint64_t& used);

    /// Hands payload that the last chunk still misses to `write(begin, end)`; returns its length, 0 when the last chunk
    /// is full. An exception from `write` leaves the record as it was.
    template <typename Write>
    std::uint64_t fill_unfinished(const char* begin, const char* end, Write&& write);

    /// Hands the payload of a chunk of `size` bytes, as far as it is there, to `write(begin, end)` and records the
    /// chunk; returns the payload's length.
    template <typename Write>
    std::uint64_t start_chunk(std::uint64_t size, const char* begin, const char* end, Write&& write);

    /// Raises std::runtime_error "add_chunk failed: add chunk with unspecified size".
    void add_chunk(const chunk_record& record);
    [[nodiscard]] const std::vector<chunk_record>& chunks() const noexcept { return chunks_; }

private:
    byte_vector pending_;
    bool pending_has_line_feed_ = false;
    std::vector<chunk_record> chunks_;
};

template <typename Write>
std::uint64_t chunk_decoder::fill_unfinished(const char* begin, const char* end, Write&& write)
{
    if (chunks_.empty() || chunks_.back().written >= chunks_.back().size) {
        return 0;
    }
    chunk_record& last = chunks_.back();
    const std::uint64_t count = std::min(static_cast<std::uint64_t>(end - begin), last.size - last.written);
    write(begin, begin + count);
    last.written += count;
    return count;
}

template <typename Write>
std::uint64_t chunk_decoder::start_chunk(std::uint64_t size, const char* begin, const char* end, Write&& write)
{
    const std::uint64_t count = std::min(static_cast<std::uint64_t>(end - begin), size);
    if (count != 0) {
        write(begin, begin + count);
    }
    add_chunk({size, count});
    return count;
}

} // namespace http
