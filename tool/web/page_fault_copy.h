#pragma once

#include <cstddef>
#include <cstdint>

/// Copies that give reserved pages their memory when they hit them.
namespace web::page_fault_copy {

/// Reserved addresses.
struct range
{
    std::byte* base = nullptr;
    std::uint64_t size = 0;
};

/// Sets the process up for run(); to be called before it. Raises error::win32exception.
void prepare();

/// Copies `count` bytes, one side of which lies in `pages`. An access fault of this thread at an address inside of
/// `pages` commits the page and lets the copy go on; any other fault takes its usual course. Returns false if a page
/// could not be committed; part of the bytes may then have been copied.
[[nodiscard]] bool run(const range& pages, void* destination, const void* source, std::uint64_t count) noexcept;

} // namespace web::page_fault_copy
