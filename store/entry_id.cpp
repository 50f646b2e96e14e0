#include "store/entry_id.h"

#include "store/digest.h"

#include <array>

namespace host {

namespace {

int value_of(char digit)
{
    return digit <= '9' ? digit - '0' : digit - 'a' + 10;
}

} // namespace

std::string entry_id(const bytes& contents, const std::string& place)
{
    constexpr std::uint64_t whole = 1U << 20U;
    sha256 digest;
    const std::uint64_t size = contents.size();
    digest.add(place.c_str(), place.size() + 1);
    digest.add(&size, sizeof size);
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; offset < size;) {
        const std::size_t got = contents.read(offset, block.data(), block.size());
        if (got == 0) {
            break;
        }
        digest.add(block.data(), got);
        offset += got;
        if (offset >= whole && size > offset + block.size()) {
            offset = size - block.size();
        }
    }
    const std::string text = digest.finish();
    std::string result;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        result.push_back(static_cast<char>(value_of(text[i]) * 16 + value_of(text[i + 1])));
    }
    return result;
}

} // namespace host
