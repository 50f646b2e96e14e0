#include "mail/msg/compound_writer.h"

#include "mail/msg/compound_structure.h"
#include "mail/msg/directory_plan.h"
#include "mail/msg/layout.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace host::msg {

namespace {

constexpr std::uint64_t sector_size = 512;
constexpr std::uint64_t numbers_in_sector = sector_size / 4;
constexpr std::uint64_t entries_in_sector = sector_size / directory_entry_size;
constexpr std::uint64_t largest_stream = 0x80000000; ///< in files with sectors of this size
constexpr std::uint32_t header_version = 3;

constexpr std::uint64_t parts_of(std::uint64_t size, std::uint64_t part)
{
    return (size + part - 1) / part;
}

/// Consecutive sectors.
struct sector_run
{
    std::uint32_t first = 0;
    std::uint32_t count = 0;

    /// Returns the value for the places where a file without such sectors has none.
    [[nodiscard]] std::uint32_t start() const { return count == 0 ? end_of_chain : first; }
};

void append_u16(std::string& target, std::uint32_t number)
{
    target.push_back(static_cast<char>(number & 0xFFU));
    target.push_back(static_cast<char>(number >> 8U & 0xFFU));
}

/// The position of everything in the file. The sectors of each part are consecutive and in this order.
class file_plan
{
public:
    explicit file_plan(const storage_tree& contents)
        : directory(plan_directory(contents))
    {
        std::uint64_t sectors = 0;
        std::uint64_t mini_sectors = 0;
        for (planned_entry& part : directory) {
            if (part.entry.size > largest_stream) {
                refuse();
            }
            if (part.entry.size == 0) {
                continue;
            }
            const bool is_small = part.entry.size < mini_stream_limit;
            std::uint64_t& used = is_small ? mini_sectors : sectors;
            part.entry.start = static_cast<std::uint32_t>(used);
            used += parts_of(part.entry.size, is_small ? mini_sector_size : sector_size);
        }
        place(sectors, mini_sectors);
    }

    std::vector<planned_entry> directory;
    sector_run streams;
    sector_run mini_stream;
    sector_run mini_table;
    sector_run entries;
    sector_run table;
    sector_run list; ///< of the table's sectors that the header does not contain

private:
    [[noreturn]] static void refuse() { throw std::runtime_error("the message is larger than a message file can be"); }

    void place(std::uint64_t stream_sectors, std::uint64_t mini_count)
    {
        directory.front().entry.size = mini_count * mini_sector_size;
        std::uint64_t end = 0;
        const auto next = [&end](std::uint64_t count) {
            const sector_run run{static_cast<std::uint32_t>(end), static_cast<std::uint32_t>(count)};
            end += count;
            if (end > largest_sector) {
                refuse();
            }
            return run;
        };
        streams = next(stream_sectors);
        mini_stream = next(parts_of(mini_count * mini_sector_size, sector_size));
        mini_table = next(parts_of(mini_count, numbers_in_sector));
        entries = next(parts_of(directory.size(), entries_in_sector));
        std::uint64_t tables = 0;
        std::uint64_t lists = 0;
        for (std::uint64_t all = 0; all != end + tables + lists;) { // they contain themselves
            all = end + tables + lists;
            tables = parts_of(all, numbers_in_sector);
            lists = tables <= table_sectors_in_header
                        ? 0
                        : parts_of(tables - table_sectors_in_header, numbers_in_sector - 1);
        }
        table = next(tables);
        list = next(lists);
        if (mini_stream.count != 0) {
            directory.front().entry.start = mini_stream.first;
        }
    }
};

class file_writer
{
public:
    file_writer(const file_plan& plan, const std::function<void(std::string_view)>& write)
        : plan_(plan)
        , write_(write)
    {}

    void run()
    {
        write_header();
        write_streams(false);
        write_streams(true);
        write_mini_table();
        write_directory();
        write_table();
        write_list();
        flush();
    }

private:
    void write_header()
    {
        put(compound_signature);
        put(std::string(16, '\0'));
        std::string versions;
        for (const std::uint32_t number : {0x3EU, header_version, 0xFFFEU, 9U, 6U, 0U, 0U, 0U}) {
            append_u16(versions, number);
        }
        put(versions);
        for (const std::uint32_t number :
             {0U, plan_.table.count, plan_.entries.first, 0U, mini_stream_limit, plan_.mini_table.start(),
              plan_.mini_table.count, plan_.list.start(), plan_.list.count}) {
            put_number(number);
        }
        for (std::uint32_t i = 0; i < table_sectors_in_header; ++i) {
            put_table_sector(i);
        }
        fill(sector_size, '\0');
    }

    /// Writes the contents of the small or of the other streams.
    void write_streams(bool small)
    {
        std::array<char, 65536> block{};
        for (const planned_entry& part : plan_.directory) {
            if (!part.contents || (part.entry.size < mini_stream_limit) != small) {
                continue;
            }
            for (std::uint64_t offset = 0; offset < part.entry.size;) {
                const std::size_t wanted = std::min<std::uint64_t>(block.size(), part.entry.size - offset);
                const std::size_t got = part.contents->read(offset, block.data(), wanted);
                if (got == 0) {
                    throw std::runtime_error("a part of the message could not be read");
                }
                put({block.data(), got});
                offset += got;
            }
            fill(small ? mini_sector_size : sector_size, '\0');
        }
        fill(sector_size, '\0');
    }

    /// Writes the entries of a table for `count` consecutive sectors.
    void put_chain(std::uint64_t first, std::uint64_t count)
    {
        for (std::uint64_t i = 1; i <= count; ++i) {
            put_number(i == count ? end_of_chain : static_cast<std::uint32_t>(first + i));
        }
    }

    void put_chains(bool small)
    {
        for (const planned_entry& part : plan_.directory) {
            if (part.contents && (part.entry.size < mini_stream_limit) == small) {
                put_chain(part.entry.start, parts_of(part.entry.size, small ? mini_sector_size : sector_size));
            }
        }
    }

    void write_mini_table()
    {
        put_chains(true);
        fill(sector_size, '\xFF');
    }

    void write_directory()
    {
        for (const planned_entry& part : plan_.directory) {
            put_entry(part);
        }
        while (position_ % sector_size != 0) {
            put(std::string(68, '\0'));
            for (int i = 0; i < 3; ++i) {
                put_number(no_entry);
            }
            put(std::string(directory_entry_size - 80, '\0'));
        }
    }

    void put_entry(const planned_entry& part)
    {
        const directory_entry& entry = part.entry;
        put(entry.name);
        put(std::string(64 - entry.name.size(), '\0'));
        std::string rest;
        append_u16(rest, static_cast<std::uint32_t>(entry.name.size() + 2));
        rest.push_back(static_cast<char>(entry.type));
        rest.push_back(part.black ? '\1' : '\0');
        for (const std::uint32_t number : {entry.left, entry.right, entry.child}) {
            append_u32(rest, number);
        }
        rest += bytes_of_guid(entry.class_id);
        rest += std::string(4 + 8 + 8, '\0'); // state bits and times
        append_u32(rest, entry.type == entry_type::storage ? 0 : entry.start);
        append_u32(rest, static_cast<std::uint32_t>(entry.size));
        append_u32(rest, 0);
        put(rest);
    }

    void write_table()
    {
        put_chains(false);
        for (const sector_run& run : {plan_.mini_stream, plan_.mini_table, plan_.entries}) {
            put_chain(run.first, run.count);
        }
        for (std::uint32_t i = 0; i < plan_.table.count; ++i) {
            put_number(table_sector);
        }
        for (std::uint32_t i = 0; i < plan_.list.count; ++i) {
            put_number(list_sector);
        }
        fill(sector_size, '\xFF');
    }

    void write_list()
    {
        std::uint32_t next = table_sectors_in_header;
        for (std::uint32_t i = 0; i < plan_.list.count; ++i) {
            for (std::uint64_t k = 1; k < numbers_in_sector; ++k) {
                put_table_sector(next++);
            }
            put_number(i + 1 == plan_.list.count ? end_of_chain : plan_.list.first + i + 1);
        }
    }

    void put_table_sector(std::uint32_t index)
    {
        put_number(index < plan_.table.count ? plan_.table.first + index : free_sector);
    }

    void put_number(std::uint32_t number)
    {
        std::string bytes;
        append_u32(bytes, number);
        put(bytes);
    }

    /// Fills up a sector that has been begun.
    void fill(std::uint64_t size, char byte)
    {
        if (position_ % size != 0) {
            put(std::string(size - position_ % size, byte));
        }
    }

    void put(std::string_view bytes)
    {
        constexpr std::size_t enough = 1U << 18U;
        waiting_ += bytes;
        position_ += bytes.size();
        if (waiting_.size() >= enough) {
            flush();
        }
    }

    void flush()
    {
        write_(waiting_);
        waiting_.clear();
    }

    const file_plan& plan_;
    const std::function<void(std::string_view)>& write_;
    std::string waiting_;
    std::uint64_t position_ = 0;
};

} // namespace

void write_storages(const storage_tree& contents, const std::function<void(std::string_view bytes)>& write)
{
    const file_plan plan(contents);
    file_writer(plan, write).run();
}

} // namespace host::msg
