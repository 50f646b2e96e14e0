#include "mail/msg/compound_check.h"

#include "mail/msg/layout.h"
#include "store/storage_tree.h"
#include "store/unreadable_message.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace host::msg {

namespace {

constexpr std::uint32_t first_mark = 0xFFFFFFFC; ///< markers: end of a chain, free sectors, sectors of tables

[[noreturn]] void refuse(const char* reason)
{
    throw unreadable_message(reason);
}

[[noreturn]] void refuse_cut()
{
    refuse("it is not a whole file: a part of it is missing");
}

[[noreturn]] void refuse_table()
{
    refuse("its table of contents is damaged");
}

/// Readers fail at an entry that is neither a position nor a marker, even if no chain contains it.
void expect_entries(const std::vector<std::uint32_t>& entries)
{
    const bool sound = std::all_of(entries.begin(), entries.end(), [&entries](std::uint32_t entry) {
        return entry < entries.size() || entry >= first_mark;
    });
    if (!sound) {
        refuse("its table of places is damaged");
    }
}

/// Sectors of one size, each of which may belong to one chain only.
class sector_space
{
public:
    sector_space() = default;
    explicit sector_space(std::uint64_t count)
        : used_(count, false)
    {}
    [[nodiscard]] std::uint64_t count() const noexcept { return used_.size(); }
    void take(std::uint32_t sector)
    {
        if (sector >= used_.size()) {
            refuse_cut();
        }
        if (used_[sector]) {
            refuse("two parts of it claim the same place");
        }
        used_[sector] = true;
    }

private:
    std::vector<bool> used_;
};

/// Returns a name in which the ASCII letters are in upper case.
std::string folded_utf16(std::string name)
{
    for (std::size_t i = 0; i < name.size(); i += 2) {
        const char letter = name[i];
        if (name[i + 1] == '\0' && letter >= 'a' && letter <= 'z') {
            name[i] = static_cast<char>(letter - ('a' - 'A'));
        }
    }
    return name;
}

class checker
{
public:
    explicit checker(const bytes& file)
        : file_(file)
    {}

    compound_structure run()
    {
        read_header();
        read_table_of_sectors();
        read_directory();
        read_mini_sectors();
        walk_directory();
        return std::move(result_);
    }

private:
    void read_header();
    void read_table_of_sectors();
    void read_directory();
    void read_mini_sectors();
    void walk_directory();
    void visit_children(std::uint32_t parent, std::size_t depth, std::size_t way);
    void check_stream(const directory_entry& entry);

    [[nodiscard]] std::string read(std::uint64_t offset, std::size_t count) const;
    [[nodiscard]] std::string read_sector(std::uint32_t sector) const;
    [[nodiscard]] std::uint32_t next_of(std::uint32_t sector) const;
    /// Returns the sectors of a chain up to its end marker.
    std::vector<std::uint32_t> follow(std::uint32_t first);
    /// Checks that a chain holds at least `size` bytes and that the file contains all of them.
    std::vector<std::uint32_t> follow_contents(std::uint32_t first, std::uint64_t size);
    static directory_entry parse_entry(const std::string& data, std::size_t offset, bool wide_sizes);

    struct place
    {
        std::uint32_t storage;
        std::size_t depth;
        std::size_t way;
    };

    const bytes& file_;
    std::string header_;
    std::size_t sector_size_ = 512;
    sector_space sectors_;
    sector_space mini_sectors_;
    compound_structure result_;
    std::vector<bool> visited_;
    std::vector<place> open_storages_;
};

std::string checker::read(std::uint64_t offset, std::size_t count) const
{
    std::string result(count, '\0');
    if (file_.read(offset, result.data(), count) != count) {
        refuse_cut();
    }
    return result;
}

std::string checker::read_sector(std::uint32_t sector) const
{
    return read(result_.offset_of(sector), sector_size_);
}

std::uint32_t checker::next_of(std::uint32_t sector) const
{
    if (sector >= result_.table.size()) {
        refuse_cut();
    }
    return result_.table[sector];
}

std::vector<std::uint32_t> checker::follow(std::uint32_t first)
{
    std::vector<std::uint32_t> chain;
    for (std::uint32_t sector = first; sector != end_of_chain; sector = next_of(sector)) {
        sectors_.take(sector);
        chain.push_back(sector);
    }
    return chain;
}

std::vector<std::uint32_t> checker::follow_contents(std::uint32_t first, std::uint64_t size)
{
    if (size == 0) {
        return {};
    }
    auto chain = follow(first);
    const std::uint64_t last = (size - 1) >> result_.shift;
    if (chain.size() <= last || result_.offset_of(chain[last]) + (size - (last << result_.shift)) > file_.size()) {
        refuse_cut();
    }
    return chain;
}

void checker::read_header()
{
    if (!begins_like_compound_file(file_)) {
        refuse(file_.size() == 0 ? "the file is empty" : "it is not an Outlook message file");
    }
    if (file_.size() < file_header_size) {
        refuse_cut();
    }
    header_ = read(0, file_header_size);
    const std::uint32_t version = u16_at(header_, 26);
    result_.shift = u16_at(header_, 30);
    const bool known_form = (version == 3 && result_.shift == 9) || (version == 4 && result_.shift == 12);
    if (!known_form || u16_at(header_, 28) != 0xFFFE || u16_at(header_, 32) != 6 ||
        u32_at(header_, 56) != mini_stream_limit) {
        refuse("its header is damaged");
    }
    sector_size_ = std::size_t{1} << result_.shift;
    // The last sector may be truncated; an access to the missing part fails.
    const std::uint64_t behind_header = file_.size() < sector_size_ ? 0 : file_.size() - sector_size_;
    const std::uint64_t count = (behind_header + sector_size_ - 1) >> result_.shift;
    if (count > largest_sector) {
        refuse("it is too large");
    }
    sectors_ = sector_space(count);
}

void checker::read_table_of_sectors()
{
    const std::uint32_t wanted = u32_at(header_, 44);
    if (wanted > sectors_.count()) {
        refuse_cut();
    }
    std::vector<std::uint32_t> parts;
    for (std::size_t i = 0; i < table_sectors_in_header && parts.size() < wanted; ++i) {
        parts.push_back(u32_at(header_, 76 + i * 4));
    }
    std::uint32_t list = u32_at(header_, 68);
    for (std::uint32_t left = u32_at(header_, 72); left > 0; --left) {
        sectors_.take(list);
        const std::string sector = read_sector(list);
        for (std::size_t i = 0; i + 8 <= sector.size() && parts.size() < wanted; i += 4) {
            parts.push_back(u32_at(sector, i));
        }
        list = u32_at(sector, sector.size() - 4);
    }
    if (parts.size() < wanted) {
        refuse_cut();
    }
    result_.table.reserve(parts.size() * sector_size_ / 4);
    for (const std::uint32_t part : parts) {
        sectors_.take(part);
        const std::string sector = read_sector(part);
        for (std::size_t i = 0; i < sector.size(); i += 4) {
            result_.table.push_back(u32_at(sector, i));
        }
    }
    expect_entries(result_.table);
}

directory_entry checker::parse_entry(const std::string& data, std::size_t offset, bool wide_sizes)
{
    directory_entry entry;
    entry.type = static_cast<entry_type>(data[offset + 66]);
    if (entry.type == entry_type::unused) {
        return entry;
    }
    const std::uint32_t name_size = u16_at(data, offset + 64);
    if (name_size < 2 || name_size > 64 || name_size % 2 != 0) {
        refuse_table();
    }
    entry.name = data.substr(offset, name_size - 2);
    entry.left = u32_at(data, offset + 68);
    entry.right = u32_at(data, offset + 72);
    entry.child = u32_at(data, offset + 76);
    entry.class_id = guid_at(data, offset + 80);
    entry.start = u32_at(data, offset + 116);
    entry.size = u32_at(data, offset + 120);
    if (wide_sizes) {
        entry.size |= static_cast<std::uint64_t>(u32_at(data, offset + 124)) << 32U;
    }
    return entry;
}

void checker::read_directory()
{
    for (const std::uint32_t sector : follow(u32_at(header_, 48))) {
        const std::string data = read_sector(sector);
        for (std::size_t i = 0; i < data.size(); i += directory_entry_size) {
            result_.entries.push_back(parse_entry(data, i, result_.shift != 9));
        }
    }
    const bool has_root = !result_.entries.empty() && result_.entries.front().type == entry_type::root;
    if (!has_root || result_.entries.front().left != no_entry || result_.entries.front().right != no_entry) {
        refuse_table();
    }
    visited_.assign(result_.entries.size(), false);
}

void checker::read_mini_sectors()
{
    for (const std::uint32_t sector : follow(u32_at(header_, 60))) {
        const std::string data = read_sector(sector);
        for (std::size_t i = 0; i < data.size(); i += 4) {
            result_.mini_table.push_back(u32_at(data, i));
        }
    }
    expect_entries(result_.mini_table);
    const directory_entry& whole = result_.entries.front();
    result_.mini_stream = follow_contents(whole.start, whole.size);
    mini_sectors_ = sector_space((whole.size + mini_sector_size - 1) / mini_sector_size);
}

void checker::check_stream(const directory_entry& entry)
{
    if (entry.size >= mini_stream_limit) {
        follow_contents(entry.start, entry.size);
        return;
    }
    std::uint64_t left = entry.size;
    for (std::uint32_t sector = entry.start; entry.size != 0 && sector != end_of_chain;) {
        mini_sectors_.take(sector);
        left -= std::min<std::uint64_t>(left, mini_sector_size);
        if (sector >= result_.mini_table.size()) {
            refuse_cut();
        }
        sector = result_.mini_table[sector];
    }
    if (left != 0) {
        refuse_cut();
    }
}

/// The siblings below `parent` form a separate tree; nested storages are visited later.
void checker::visit_children(std::uint32_t parent, std::size_t depth, std::size_t way)
{
    struct step
    {
        std::uint32_t entry;
        std::size_t way;
    };
    std::unordered_set<std::string> names;
    std::vector<step> open{{result_.entries[parent].child, way + 1}};
    while (!open.empty()) {
        const step now = open.back();
        open.pop_back();
        if (now.entry == no_entry) {
            continue;
        }
        if (now.entry >= result_.entries.size() || visited_[now.entry]) {
            refuse_table();
        }
        visited_[now.entry] = true;
        ++result_.parts;
        const directory_entry& entry = result_.entries[now.entry];
        if ((entry.type != entry_type::storage && entry.type != entry_type::stream) ||
            !names.insert(folded_utf16(entry.name)).second) {
            refuse_table();
        }
        if (now.way > longest_way || names.size() > most_parts) {
            refuse("its table of contents is too long");
        }
        open.push_back({entry.left, now.way + 1});
        open.push_back({entry.right, now.way + 1});
        if (entry.type == entry_type::stream) {
            if (entry.child != no_entry) {
                refuse_table();
            }
            check_stream(entry);
        } else {
            open_storages_.push_back({now.entry, depth + 1, now.way});
        }
    }
}

void checker::walk_directory()
{
    visited_[0] = true;
    open_storages_.push_back({0, 0, 0});
    while (!open_storages_.empty()) {
        const place now = open_storages_.back();
        open_storages_.pop_back();
        if (now.depth > deepest_storage) {
            refuse("its messages are nested too deep");
        }
        visit_children(now.storage, now.depth, now.way);
    }
}

} // namespace

bool begins_like_compound_file(const bytes& file)
{
    std::string start(compound_signature.size(), '\0');
    return file.read(0, start.data(), start.size()) == start.size() && start == compound_signature;
}

compound_structure check_compound_file(const bytes& file)
{
    return checker(file).run();
}

} // namespace host::msg
