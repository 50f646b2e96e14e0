#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The parts of a compound file.
namespace host::msg {

inline constexpr std::size_t file_header_size = 512;
inline constexpr std::size_t directory_entry_size = 128;
inline constexpr std::size_t mini_sector_size = 64;
inline constexpr std::uint32_t mini_stream_limit = 4096; ///< smaller streams are stored in mini sectors
inline constexpr std::size_t table_sectors_in_header = 109;
inline constexpr std::size_t longest_part_name = 31; ///< in UTF-16 units
inline constexpr std::string_view compound_signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

inline constexpr std::uint32_t largest_sector = 0xFFFFFFFA;
inline constexpr std::uint32_t list_sector = 0xFFFFFFFC;  ///< marks a sector of the list of table sectors
inline constexpr std::uint32_t table_sector = 0xFFFFFFFD; ///< marks a sector of the table of sectors
inline constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
inline constexpr std::uint32_t free_sector = 0xFFFFFFFF;
inline constexpr std::uint32_t no_entry = 0xFFFFFFFF;

enum class entry_type : unsigned char
{
    unused = 0,
    storage = 1,
    stream = 2,
    root = 5
};

/// An entry of the directory. The entries of one storage form a binary tree.
struct directory_entry
{
    std::string name; ///< UTF-16LE
    entry_type type = entry_type::unused;
    std::uint32_t left = no_entry;
    std::uint32_t right = no_entry;
    std::uint32_t child = no_entry; ///< the root of the entries of this storage
    GUID class_id{};
    std::uint32_t start = end_of_chain;
    std::uint64_t size = 0;
};

/// The tables and the directory of a compound file.
struct compound_structure
{
    unsigned shift = 9; ///< a sector has 1 << shift bytes
    std::vector<std::uint32_t> table;
    std::vector<std::uint32_t> mini_table;
    std::vector<std::uint32_t> mini_stream; ///< the sectors that contain the mini sectors
    std::vector<directory_entry> entries;   ///< the first one is the root
    std::size_t parts = 0;                  ///< number of storages and streams below the root

    /// Returns the position of a sector in the file.
    [[nodiscard]] std::uint64_t offset_of(std::uint32_t sector) const { return (sector + 1ULL) << shift; }
};

} // namespace host::msg
