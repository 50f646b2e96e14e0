#pragma once

#include "tool/web/io_data.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace web {

/// How body stores are made. One record serves the process.
struct body_store_config
{
    static constexpr std::uint64_t memory_unit = 65535;

    std::uint32_t memory_units = 2;          ///< a body of up to so many memory units stays in memory
    std::wstring temp_directory;             ///< empty: the system's folder for temporary files
    std::vector<std::wstring> host_patterns; ///< nothing here reads them
};

/// The process's record, made at first use. To be changed only before the first body store is made.
[[nodiscard]] body_store_config& body_store_configuration();

/// The expected size that stands for an unknown one; only the low 32 bits count.
inline constexpr std::uint64_t unknown_body_size = 0xFFFFFFFFU;

/// A new store for a body of the expected size: memory of that capacity if the size is known and small enough, a
/// temporary file otherwise. Raises error::win32exception.
[[nodiscard]] std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size);
[[nodiscard]] std::unique_ptr<io_data> make_body_store(std::uint64_t expected_size, const body_store_config& config);

/// The system's folder for temporary files, with its last separator.
[[nodiscard]] std::wstring system_temp_directory();

/// The folder with a separator at its end.
[[nodiscard]] std::wstring with_separator(std::wstring directory);

} // namespace web
