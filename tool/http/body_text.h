#pragma once

#include "tool/http/message.h"

#include <cstdint>
#include <string_view>

namespace http {

/// Copies a part of a text that is passed section by section: a head, chunk lines, a body. Stores are read in steps of
/// 4096 bytes. Not thread-safe.
class span_writer
{
public:
    /// Bytes of one read from a store.
    static constexpr std::uint64_t step = 4096;

    /// Makes a writer that appends to `out`, which must be empty. A null `span` selects the whole text. `span` and
    /// `out` are not owned and must outlive the writer.
    span_writer(read_span* span, byte_vector& out) noexcept;

    /// Passes the next section and copies the part of it that the span selects.
    void put(std::string_view text);
    /// Passes the contents of a store as the next section. Copying ends early if the store returns fewer bytes than its
    /// size. Throws what the store throws.
    void put(web::io_data& store);
    /// Returns the total size in bytes of the sections passed so far, copied or not.
    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    /// Advances the span's offset by the count of bytes copied. Returns true if any were copied.
    bool finish();

private:
    /// The selected part of one section, in bytes.
    struct part
    {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
    };

    /// Returns the part of a section of `size` bytes that the span selects, and advances the position.
    part next(std::uint64_t size) noexcept;

    read_span* span_;
    byte_vector& out_;
    std::uint64_t begin_;
    std::uint64_t wanted_;
    std::uint64_t position_ = 0;
};

} // namespace http
