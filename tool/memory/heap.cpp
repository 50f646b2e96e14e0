#include "tool/memory/heap.h"

#include <mutex>
#include <utility>

namespace memory {

namespace {

struct shared_heap
{
    std::mutex lock;
    std::shared_ptr<heap> current;
};

shared_heap& the_shared_heap()
{
    static shared_heap shared;
    return shared;
}

} // namespace

std::shared_ptr<heap> heap::process_heap()
{
    auto& shared = the_shared_heap();
    const std::lock_guard guard(shared.lock);
    if (!shared.current) {
        shared.current = std::make_shared<heap>();
    }
    return shared.current;
}

process_heap_override::process_heap_override(std::shared_ptr<heap> other)
    : before_(std::move(other))
{
    auto& shared = the_shared_heap();
    const std::lock_guard guard(shared.lock);
    shared.current.swap(before_);
}

process_heap_override::~process_heap_override()
{
    auto& shared = the_shared_heap();
    const std::lock_guard guard(shared.lock);
    shared.current.swap(before_);
}

block::block(std::size_t size)
    : heap_(heap::process_heap())
    , data_(static_cast<char*>(heap_->allocate(size)))
    , size_(size)
{}

block::block(block&& other) noexcept
    : heap_(std::move(other.heap_))
    , data_(std::exchange(other.data_, nullptr))
    , size_(std::exchange(other.size_, 0))
{}

block& block::operator=(block&& other) noexcept
{
    block taken(std::move(other));
    std::swap(heap_, taken.heap_);
    std::swap(data_, taken.data_);
    std::swap(size_, taken.size_);
    return *this;
}

block::~block()
{
    if (heap_) {
        heap_->release(data_);
    }
}

} // namespace memory
