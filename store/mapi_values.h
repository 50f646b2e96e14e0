#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/property_value.h"

#include <cstddef>
#include <vector>

namespace host {

/// Builds what the store hands out: one MAPI buffer with everything that belongs to it. Freed unless release()d.
class mapi_buffer
{
public:
    /// Raises std::bad_alloc.
    explicit mapi_buffer(std::size_t size);
    /// A further piece, zeroed, that lives as long as the buffer. Raises std::bad_alloc.
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

/// Writes a value with its tag; pieces of it come from `owner`.
void write_value(SPropValue& target, std::uint32_t tag, const property_value& value, mapi_buffer& owner);
/// Reads what a caller hands in. False for a type that cannot be stored.
bool read_value(const SPropValue& source, property_value& target);
/// A tag array with everything in one buffer.
SPropTagArray* make_tag_array(const std::vector<std::uint32_t>& tags);

} // namespace host
