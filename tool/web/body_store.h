#pragma once

#include "tool/web/io_data.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace web {

/// The parameters for making body stores. One record serves the process.
struct body_store_config
{
    static constexpr std::uint64_t memory_unit = 65535;

    std::uint32_t memory_units = 2;          ///< a body of at most this many memory units stays in memory
    std::wstring temp_directory;             ///< empty: the system's folder for temporary files
    std::vector<std::wstring> host_patterns; ///< not read here
};

/// Returns the process's record, made at first use. It must be changed only before the first body store is made.
[[nodiscard]] body_store_config& body_store_configuration();

/// The expected size for a body of unknown size; only the low 32 bits count.
inline constexpr std::uint64_t unknown_body_size = 0xFFFFFFFFU;

/// Returns a new store for a body of the expected size in bytes: memory of that capacity if the size is known and small
/// enough, a temporary file otherwise. Throws error::win32exception.
[[nodiscard]] std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size);
[[nodiscard]] std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size, const body_store_config& config);

/// Returns the system's folder for temporary files, with a trailing separator.
[[nodiscard]] std::wstring system_temp_directory();

/// Returns the folder with a trailing separator.
[[nodiscard]] std::wstring with_separator(std::wstring directory);

} // namespace web
