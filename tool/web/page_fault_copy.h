#pragma once

#include <cstddef>
#include <cstdint>

/// Copies that commit reserved pages when they access them.
namespace web::page_fault_copy {

/// Reserved addresses.
struct range
{
    std::byte* base = nullptr;
    std::uint64_t size = 0;
};

/// Prepares the process for run(); must be called before it. Throws error::win32exception.
void prepare();

/// Copies `count` bytes; the source or the destination is within `pages`. An access fault of this thread at an address
/// within `pages` commits the page and resumes the copy; any other fault is handled as usual. Returns false if a page
/// could not be committed; part of the bytes may then have been copied.
[[nodiscard]] bool run(const range& pages, void* destination, const void* source, std::uint64_t count) noexcept;

} // namespace web::page_fault_copy
