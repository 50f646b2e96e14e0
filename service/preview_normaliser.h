#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// Preprocesses the beginning of a preview for the body reader: converts its first chunk into the form that the reader
/// accepts.
///
/// A preview of N bytes, N above 0, comes in one of two forms:
///
///   standard   a chunk line such as "1f\r\n", the payload, a line end, and so on; fewer than N bytes are possible
///   bare       the hexadecimal N directly followed by N payload bytes, then "\r\n0\r\n\r\n": the postwarden client's
///
/// The bare form cannot be read as chunks, because its payload may itself begin with line ends, hexadecimal digits or a
/// semicolon. The form is therefore determined first, from as few bytes as possible:
///
///   1. Input that does not begin with N in lower-case hexadecimal without leading zeros is standard.
///   2. N followed by a byte that cannot continue a chunk line is bare. So is N followed by another hexadecimal digit:
///      as a chunk line, that would specify a chunk larger than the preview.
///   3. Otherwise the form is bare if the end mark of the bare form follows after N payload bytes, and standard if
///      anything else is found there. A standard preview of N bytes has other bytes at that offset: its line end and
///      its payload are located further back. (Only a chunk extension on a preview chunk, together with a payload that
///      contains the bytes of the end mark at one specific offset, would be misread. N bytes are still consumed then,
///      and a verdict is never based on a preview alone.)
///
/// In the bare form a "\r\n" is inserted after the size. All other bytes pass unchanged in both forms.
class preview_normaliser
{
public:
    /// `preview_size` must be above 0. The object holds at most that many bytes and a few more, plus the last piece.
    explicit preview_normaliser(std::uint64_t preview_size);

    /// Consumes the next bytes and appends to `out` the bytes that can be passed on: none until the form is determined.
    void feed(std::string_view piece, std::string& out);
    /// Returns true once the form is known. From then on every byte passes unchanged.
    [[nodiscard]] bool settled() const noexcept { return form_ != form::open; }
    /// Returns true if the form is known and is the bare form.
    [[nodiscard]] bool bare() const noexcept { return form_ == form::bare; }

private:
    enum class form
    {
        open,
        standard,
        bare
    };

    [[nodiscard]] form judge() const;

    std::uint64_t preview_size_;
    std::string size_text_;
    std::string held_;
    form form_ = form::open;
};

} // namespace service
