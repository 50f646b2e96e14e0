#include "mail/msg/block_bytes.h"

#include <algorithm>
#include <utility>

namespace host::msg {

namespace {

constexpr std::size_t block_size = 65536;

} // namespace

std::size_t block_bytes::read(std::uint64_t offset, void* destination, std::size_t count) const
{
    std::size_t done = 0;
    while (done < count) {
        const std::string_view rest = rest_of_block(offset + done).substr(0, count - done);
        if (rest.empty()) {
            break;
        }
        std::copy(rest.begin(), rest.end(), static_cast<char*>(destination) + done);
        done += rest.size();
    }
    return done;
}

/// Returns the bytes from an offset to the end of its block; none behind the end of the file.
std::string_view block_bytes::rest_of_block(std::uint64_t offset) const
{
    const std::uint64_t begin = offset / block_size * block_size;
    if (block_.empty() || begin != begin_) {
        std::string block(block_size, '\0');
        std::size_t filled = 0;
        for (std::size_t got = 1; got != 0 && filled < block.size(); filled += got) {
            got = file_.read(begin + filled, block.data() + filled, block.size() - filled);
        }
        block.resize(filled);
        block_ = std::move(block);
        begin_ = begin;
    }
    return std::string_view(block_).substr(std::min<std::size_t>(block_.size(), offset - begin));
}

} // namespace host::msg
