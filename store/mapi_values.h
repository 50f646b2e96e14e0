#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/property_value.h"

#include <cstddef>
#include <vector>

namespace host {

/// Builds a value that the store returns: one MAPI buffer with all data that belongs to it. Freed unless release() is
/// called.
class mapi_buffer
{
public:
    /// Throws std::bad_alloc.
    explicit mapi_buffer(std::size_t size);
    /// Allocates additional zeroed memory with the lifetime of the buffer. Throws std::bad_alloc.
    void* more(std::size_t size);
    template <typename T>
    T* as() const noexcept
    {
        return static_cast<T*>(memory_.get());
    }
    template <typename T>
    T* release() noexcept
    {
        return static_cast<T*>(memory_.release());
    }

private:
    MapiBuffer<void> memory_;
};

/// Writes a value with its tag; additional memory is allocated from `owner`.
void write_value(SPropValue& target, std::uint32_t tag, const property_value& value, mapi_buffer& owner);
/// Reads a value passed by a caller. Returns false for a type that cannot be stored.
bool read_value(const SPropValue& source, property_value& target);
/// Creates a tag array in a single buffer.
SPropTagArray* make_tag_array(const std::vector<std::uint32_t>& tags);

} // namespace host
