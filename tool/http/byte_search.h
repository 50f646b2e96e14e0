#pragma once

#include <bit>
#include <cstddef>
#include <processor/bytes.h>

/// Searches in [at, end) that read 16 bytes at a time. Each returns the first position that fits, or `end`. No byte
/// outside of the range is read. `Bytes` is http::plain_bytes or a class that works as it does.
namespace http::search {

/// Finds the first byte for which `fits_one(byte)` is true; `fits(bytes)` returns the mask of these bytes.
template <typename Bytes, typename Fits, typename FitsOne>
[[nodiscard]] inline const char* first(const char* at, const char* end, Fits fits, FitsOne fits_one) noexcept
{
    for (; static_cast<std::size_t>(end - at) >= Bytes::size; at += Bytes::size) {
        if (const auto mask = fits(Bytes(at)); mask != 0) {
            return at + std::countr_zero(mask);
        }
    }
    while (at != end && !fits_one(*at)) {
        ++at;
    }
    return at;
}

/// A given byte.
template <typename Bytes = processor::bytes>
[[nodiscard]] inline const char* byte(const char* at, const char* end, char value) noexcept
{
    return first<Bytes>(
        at, end, [value](const Bytes& bytes) { return bytes.equal(value); },
        [value](char one) { return one == value; });
}

/// CR or LF.
template <typename Bytes = processor::bytes>
[[nodiscard]] inline const char* line_end(const char* at, const char* end) noexcept
{
    return first<Bytes>(
        at, end, [](const Bytes& bytes) { return bytes.equal('\r') | bytes.equal('\n'); },
        [](char one) { return one == '\r' || one == '\n'; });
}

/// A byte of at most `bound`, compared as an unsigned number.
template <typename Bytes = processor::bytes>
[[nodiscard]] inline const char* at_most(const char* at, const char* end, unsigned char bound) noexcept
{
    return first<Bytes>(
        at, end, [bound](const Bytes& bytes) { return bytes.at_most(bound); },
        [bound](char one) { return static_cast<unsigned char>(one) <= bound; });
}

} // namespace http::search
