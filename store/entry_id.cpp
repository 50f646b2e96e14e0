#include "store/entry_id.h"

#include "digest/sha256.h"

#include <array>

namespace host {

std::string entry_id(const bytes& contents, const std::string& place)
{
    constexpr std::uint64_t whole = 1U << 20U;
    digest::sha256 sum;
    const std::uint64_t size = contents.size();
    sum.add({place.c_str(), place.size() + 1});
    sum.add({reinterpret_cast<const char*>(&size), sizeof size});
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; offset < size;) {
        const std::size_t got = contents.read(offset, block.data(), block.size());
        if (got == 0) {
            break;
        }
        sum.add({block.data(), got});
        offset += got;
        if (offset >= whole && size > offset + block.size()) {
            offset = size - block.size();
        }
    }
    const digest::sha256::value result = sum.finish();
    return {result.begin(), result.end()};
}

} // namespace host
