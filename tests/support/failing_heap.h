#pragma once

#include "tool/memory/heap.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace test {

/// A heap whose allocations fail from a chosen one on, with code 8. memory::process_heap_override, or the class below,
/// installs it as the process's heap.
class failing_heap final : public memory::heap
{
public:
    /// The first `good_allocations` succeed, all others fail until allow() is called again.
    explicit failing_heap(std::size_t good_allocations = 0)
        : left_(good_allocations)
    {}

    [[nodiscard]] void* allocate(std::size_t count) override;
    void release(void* bytes) noexcept override;

    void allow(std::size_t good_allocations) noexcept { left_ = good_allocations; }
    /// Returns the number of pieces that are allocated and not released.
    [[nodiscard]] std::size_t outstanding() const noexcept { return outstanding_; }

private:
    std::atomic<std::size_t> left_;
    std::atomic<std::size_t> outstanding_{0};
};

/// Makes the process's heap a failing one while this object exists.
class heap_failure
{
public:
    explicit heap_failure(std::size_t good_allocations = 0)
        : heap_(std::make_shared<failing_heap>(good_allocations))
        , in_place_(heap_)
    {}
    [[nodiscard]] failing_heap& heap() noexcept { return *heap_; }

private:
    std::shared_ptr<failing_heap> heap_;
    memory::process_heap_override in_place_;
};

} // namespace test
