#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// Stands in front of the body reader while a preview begins, and gives its first chunk the form that the reader knows.
///
/// A preview of N bytes, N above 0, comes in one of two forms:
///
///   standard   a chunk line such as "1f\r\n", the payload, a line end, and so on; fewer than N bytes are possible
///   bare       the hexadecimal N directly followed by N payload bytes, then "\r\n0\r\n\r\n": the postwarden client's
///
/// The bare form can't be read as chunks, as its payload may itself begin with line ends, hexadecimal digits or a
/// semicolon. So the form is settled first, from as few bytes as can tell:
///
///   1. What doesn't begin with N in lower-case hexadecimal without leading zeros is standard.
///   2. N followed by a byte that can't go on in a chunk line is bare. So is N followed by another hexadecimal digit:
///   as
///      a chunk line that would be a chunk larger than the preview.
///   3. Otherwise it is bare when the end mark of the bare form stands where N payload bytes end, and standard when
///      anything else stands there. A standard preview of N bytes puts other bytes at that place: its line end and its
///      payload lie further behind. (Only a chunk extension on a preview chunk together with a payload that holds the
///      end mark's bytes at one certain place would be misread; then N bytes are still taken, and a preview alone is
///      never a verdict's only ground.)
///
/// In the bare form a "\r\n" is put behind the size; everything else passes unchanged in both forms.
class preview_normaliser
{
public:
    /// `preview_size` is above 0. As many bytes and a few more are held at most, plus the last piece.
    explicit preview_normaliser(std::uint64_t preview_size);

    /// Takes the next bytes and appends to `out` what can be passed on: nothing while the form is not settled.
    void feed(std::string_view piece, std::string& out);
    /// The form is known; from now on every byte passes unchanged.
    [[nodiscard]] bool settled() const noexcept { return form_ != form::open; }
    /// The form is settled and is the bare one.
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
