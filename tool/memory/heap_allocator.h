#pragma once

#include "tool/memory/heap.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <new>

namespace memory {

/// Lets a standard container allocate its bytes from the heap that is the process's heap when the container is made.
template <typename T>
class heap_allocator
{
public:
    using value_type = T;

    heap_allocator()
        : heap_(heap::process_heap())
    {}
    template <typename Other>
    heap_allocator(const heap_allocator<Other>& other) noexcept
        : heap_(other.source())
    {}

    [[nodiscard]] T* allocate(std::size_t count)
    {
        static_assert(alignof(T) <= alignof(std::max_align_t));
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(heap_->allocate(count * sizeof(T)));
    }
    void deallocate(T* items, std::size_t /*count*/) noexcept { heap_->release(items); }

    [[nodiscard]] const std::shared_ptr<heap>& source() const noexcept { return heap_; }

    template <typename Other>
    friend bool operator==(const heap_allocator& left, const heap_allocator<Other>& right) noexcept
    {
        return left.source() == right.source();
    }

private:
    std::shared_ptr<heap> heap_;
};

} // namespace memory
