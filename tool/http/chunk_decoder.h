#pragma once

#include "tool/http/message_headers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace http {

/// The size of a chunk whose line has not been read.
inline constexpr std::uint64_t unspecified_size = ~std::uint64_t{0};

/// One chunk of a body. Only the last one of a list can be unfinished.
struct chunk_record
{
    std::uint64_t size = 0;    ///< payload bytes that the chunk line announces
    std::uint64_t written = 0; ///< payload bytes received so far
};

/// The chunks of a body in the order in which they arrived. Only the last one is kept, so that a body of any number of
/// chunks needs the same memory.
class chunk_list
{
public:
    [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
    /// Returns the number of chunks, including those that are not kept.
    [[nodiscard]] std::size_t size() const noexcept { return count_; }
    /// Returns the last chunk. The list must not be empty.
    [[nodiscard]] const chunk_record& back() const noexcept { return last_; }
    [[nodiscard]] chunk_record& back() noexcept { return last_; }
    /// Returns the last chunk; `place` must be size() - 1.
    [[nodiscard]] const chunk_record& operator[]([[maybe_unused]] std::size_t place) const noexcept { return last_; }
    void push_back(const chunk_record& record) noexcept
    {
        last_ = record;
        ++count_;
    }

private:
    std::size_t count_ = 0;
    chunk_record last_;
};

/// Thrown for framing that exceeds the limits of chunk_decoder. The decoder must not be used any more.
class chunk_line_too_long : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The result of reading one chunk line.
struct chunk_line_result
{
    std::uint64_t size = unspecified_size; ///< payload bytes that follow; unspecified_size while no line is finished
    bool completed = false;                ///< true for the last chunk
    std::string extension;                 ///< last chunk only: the text from the first ";" to the line end
    byte_vector trailers;                  ///< last chunk only: the trailer lines, each with its line end
};

/// Reads the chunk lines of chunked framing from pieces of any size and keeps the list of chunks. The caller passes
/// bytes to fill_unfinished() first and to read_line() when it returns 0. Not thread-safe.
///
/// Limits: a chunk is at most 2^32 - 1 bytes. A line within one piece is read in place; a line that a piece cuts is
/// collected in memory, up to `longest_line` bytes, and trailer lines up to `most_trailers` bytes. A malformed line is
/// not reported as such: it counts as unfinished, and the bytes that follow are collected up to the same limit.
class chunk_decoder
{
public:
    /// The bytes that are collected of a line, without the trailer lines ahead of it.
    static constexpr std::size_t longest_line = 16640;
    /// The bytes that are collected of a last chunk with trailer lines.
    static constexpr std::size_t most_trailers = std::size_t{16} << 20;

    /// Reads one chunk line after any number of line ends; the line end that closes the preceding payload is one of
    /// these. `used` receives the count of bytes taken: those up to the end of the line, or all if no line is finished.
    ///
    /// Example: "\r\n1A;name=value\r\nabc" gives size 26 and uses 17 bytes; "abc" is left for start_chunk().
    ///
    /// A last chunk is finished with the blank line behind its trailers: "0\r\n" alone waits for more. A trailer line
    /// that a piece cuts hides the last chunk; the result is then an ordinary chunk of size 0.
    ///
    /// Throws chunk_line_too_long "chunk line too long" or "chunk trailers too long".
    chunk_line_result read_line(const char* begin, const char* end, std::uint64_t& used);

    /// Passes payload that the last chunk still lacks to `write(begin, end)`. Returns its length in bytes. If no chunk
    /// is unfinished, `write` is not called and the result is 0. If `write` throws, the record is unchanged.
    template <typename Write>
    std::uint64_t fill_unfinished(const char* begin, const char* end, Write&& write);

    /// Passes the available payload of a new chunk of `size` bytes to `write(begin, end)`, which is not called for an
    /// empty range, and records the chunk. Returns the length of that payload in bytes. If `write` throws, nothing is
    /// recorded.
    template <typename Write>
    std::uint64_t start_chunk(std::uint64_t size, const char* begin, const char* end, Write&& write);

    /// Appends a chunk to the list. Throws std::runtime_error "add_chunk failed: add chunk with unspecified size" if
    /// its size is unspecified_size.
    void add_chunk(const chunk_record& record);
    /// Returns the chunks received so far, without the last chunk.
    [[nodiscard]] const chunk_list& chunks() const noexcept { return chunks_; }

private:
    /// A last chunk whose trailer lines have been read up to the end of `pending_`. Places are offsets in it.
    struct open_trailers
    {
        std::string extension;
        std::size_t first_line = 0;
        std::size_t last_line = 0; ///< may be part of a longer line; those ahead of it are final
    };

    const char* read_finished_line(const char* begin, const char* end, chunk_line_result& out);
    const char* read_trailers(const char* begin, const char* end, chunk_line_result& out);
    void require_limits() const;

    byte_vector pending_;
    bool pending_has_line_feed_ = false;
    std::optional<open_trailers> trailers_;
    chunk_list chunks_;
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
