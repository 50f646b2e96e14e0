#include "mail/msg/compound_reader.h"

#include "mail/msg/block_bytes.h"
#include "store/property_value.h"
#include "store/unreadable_message.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace host::msg {

namespace {

/// A contiguous part of a stream.
struct extent
{
    std::uint64_t begin; ///< in the stream
    std::uint64_t place; ///< in the file
    std::uint64_t size;
};

/// A stream in one or more parts of a file.
class scattered_bytes final : public bytes
{
public:
    scattered_bytes(bytes_ptr file, std::vector<extent> extents, std::uint64_t size)
        : file_(std::move(file))
        , extents_(std::move(extents))
        , size_(size)
    {}

    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_) {
            return 0;
        }
        const std::size_t wanted = std::min<std::uint64_t>(count, size_ - offset);
        auto at = std::upper_bound(extents_.begin(), extents_.end(), offset,
                                   [](std::uint64_t value, const extent& part) { return value < part.begin; });
        --at;
        for (std::size_t done = 0; done < wanted; ++at) {
            const std::uint64_t within = offset + done - at->begin;
            const std::size_t piece = std::min<std::uint64_t>(wanted - done, at->size - within);
            if (file_->read(at->place + within, static_cast<char*>(destination) + done, piece) != piece) {
                throw std::runtime_error("a part of the file could not be read");
            }
            done += piece;
        }
        return wanted;
    }

private:
    bytes_ptr file_;
    std::vector<extent> extents_; ///< ordered by `begin`, without gaps, for at least `size_` bytes
    std::uint64_t size_;
};

/// Appends a part of a stream; parts that are adjacent in the file become one.
void append(std::vector<extent>& extents, std::uint64_t place, std::uint64_t size)
{
    if (!extents.empty() && extents.back().place + extents.back().size == place) {
        extents.back().size += size;
        return;
    }
    const std::uint64_t begin = extents.empty() ? 0 : extents.back().begin + extents.back().size;
    extents.push_back({begin, place, size});
}

class storage_reader
{
public:
    storage_reader(const bytes_ptr& file, const compound_structure& structure)
        : file_(file)
        , blocks_(std::make_shared<const block_bytes>(*file))
        , structure_(structure)
    {}

    storage_ptr read(std::uint32_t storage) const
    {
        auto tree = std::make_shared<storage_tree>();
        tree->class_id = structure_.entries[storage].class_id;
        // The tree of siblings may be as deep as it has entries.
        std::vector<std::uint32_t> open;
        for (std::uint32_t at = structure_.entries[storage].child; at != no_entry || !open.empty();) {
            if (at != no_entry) {
                open.push_back(at);
                at = structure_.entries[at].left;
                continue;
            }
            const std::uint32_t next = open.back();
            open.pop_back();
            add(*tree, next);
            at = structure_.entries[next].right;
        }
        return tree;
    }

private:
    void add(storage_tree& tree, std::uint32_t index) const
    {
        const directory_entry& entry = structure_.entries[index];
        if (entry.type == entry_type::storage) {
            tree.storages.push_back({name_of(entry), read(index)});
        } else {
            tree.streams.push_back({name_of(entry), stream(entry)});
        }
    }

    /// Rejects a name that could not be written again.
    static std::string name_of(const directory_entry& entry)
    {
        std::string name = winapi::conv_to_char(from_utf16le(entry.name), winapi::code_page_utf8);
        if (to_utf16le(winapi::conv_to_wide(name, winapi::code_page_utf8)) != entry.name) {
            throw unreadable_message("its table of contents is damaged");
        }
        return name;
    }

    [[nodiscard]] bytes_ptr stream(const directory_entry& entry) const
    {
        if (entry.size >= mini_stream_limit) {
            return std::make_shared<const scattered_bytes>(file_, large_extents(entry), entry.size);
        }
        try {
            return bytes_of(to_string(scattered_bytes(blocks_, small_extents(entry), entry.size)));
        } catch (const std::runtime_error&) {
            throw unreadable_message("a part of it cannot be read");
        }
    }

    [[nodiscard]] std::vector<extent> large_extents(const directory_entry& entry) const
    {
        const std::uint64_t sector_size = 1ULL << structure_.shift;
        std::vector<extent> extents;
        std::uint32_t sector = entry.start;
        for (std::uint64_t done = 0; done < entry.size; done += sector_size) {
            append(extents, structure_.offset_of(sector), sector_size);
            sector = structure_.table[sector];
        }
        return extents;
    }

    [[nodiscard]] std::vector<extent> small_extents(const directory_entry& entry) const
    {
        std::vector<extent> extents;
        std::uint32_t sector = entry.start;
        for (std::uint64_t done = 0; done < entry.size; done += mini_sector_size) {
            const std::uint64_t offset = sector * std::uint64_t{mini_sector_size};
            const std::uint64_t within = offset & ((1ULL << structure_.shift) - 1);
            const std::uint32_t outer = structure_.mini_stream[offset >> structure_.shift];
            append(extents, structure_.offset_of(outer) + within, mini_sector_size);
            sector = structure_.mini_table[sector];
        }
        return extents;
    }

    const bytes_ptr& file_;
    bytes_ptr blocks_;
    const compound_structure& structure_;
};

} // namespace

storage_ptr read_storages(const bytes_ptr& file, const compound_structure& structure)
{
    return storage_reader(file, structure).read(0);
}

} // namespace host::msg
