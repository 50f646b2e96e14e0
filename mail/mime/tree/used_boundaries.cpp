#include "mail/mime/tree/used_boundaries.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>

namespace host {

namespace {

constexpr std::string_view start = "=_edited_";
constexpr std::string_view delimiter_start = "--=_edited_";
constexpr std::size_t longest = delimiter_start.size() + std::numeric_limits<std::uint64_t>::digits10 + 1;

} // namespace

void used_boundaries::add(const bytes& source)
{
    std::string block;
    std::array<char, 65536> more{};
    for (std::uint64_t offset = 0;;) {
        const std::size_t got = source.read(offset, more.data(), more.size());
        if (got == 0) {
            break;
        }
        block.append(more.data(), got);
        for (std::size_t at = block.find(delimiter_start); at != std::string::npos;
             at = block.find(delimiter_start, at + 1)) {
            std::uint64_t number = 0;
            const char* const digits = block.data() + at + delimiter_start.size();
            if (std::from_chars(digits, block.data() + block.size(), number).ec == std::errc()) {
                numbers_.push_back(number);
            }
        }
        block.erase(0, block.size() - std::min(block.size(), longest)); // a delimiter may continue in the next block
        offset += got;
    }
}

std::string used_boundaries::next(std::uint64_t& number)
{
    std::sort(numbers_.begin(), numbers_.end());
    ++number;
    for (const std::uint64_t used : numbers_) {
        number += used == number ? 1 : 0;
    }
    return std::string(start) + std::to_string(number) + "_";
}

} // namespace host
