#pragma once

#include "tool/http/message.h"

#include <cstdint>
#include <string_view>

namespace http {

/// Copies a span of a text that is given section by section. Stores are read in steps of 4096 bytes.
class span_writer
{
public:
    static constexpr std::uint64_t step = 4096;

    /// No span means the whole text. `span` and `out` outlive the writer.
    span_writer(read_span* span, byte_vector& out) noexcept;

    void put(std::string_view text);
    void put(web::io_data& store);
    /// Bytes of the sections given so far.
    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    /// Moves the span's offset on by what was copied; returns whether anything was.
    bool finish();

private:
    struct part
    {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
    };

    /// The part of a section of `size` bytes that belongs to the span.
    part next(std::uint64_t size) noexcept;

    read_span* span_;
    byte_vector& out_;
    std::uint64_t begin_;
    std::uint64_t wanted_;
    std::uint64_t position_ = 0;
};

} // namespace http
