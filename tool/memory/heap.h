#pragma once

#include <cstddef>
#include <memory>

/// The private heap, which keeps bursts of scan traffic away from the host's own heap.
namespace memory {

/// A heap of its own. All operations may be called from any thread. Derived classes exist for tests.
class heap
{
public:
    /// Raises error::win32exception if the platform gives no heap.
    heap();
    heap(const heap&) = delete;
    heap& operator=(const heap&) = delete;
    /// Destroys the heap together with what was not released.
    virtual ~heap();

    /// `count` bytes, not initialised, aligned for any object. Raises error::win32exception with the platform's code.
    [[nodiscard]] virtual void* allocate(std::size_t count);
    /// Gives back what allocate() of the same heap gave; null is allowed.
    virtual void release(void* bytes) noexcept;

    /// The process's heap, made at first use. Whoever holds bytes of it holds it too, so that it outlives them.
    [[nodiscard]] static std::shared_ptr<heap> process_heap();

private:
    struct native;
    std::unique_ptr<native> native_;
};

/// While it lives, heap::process_heap() gives another heap, so that a test can make allocations fail. What was
/// allocated before goes back to where it came from, because its holder holds that heap.
class process_heap_override
{
public:
    explicit process_heap_override(std::shared_ptr<heap> other);
    process_heap_override(const process_heap_override&) = delete;
    process_heap_override& operator=(const process_heap_override&) = delete;
    ~process_heap_override();

private:
    std::shared_ptr<heap> before_;
};

/// Sole owner of one piece of the process's heap.
class block
{
public:
    /// Owns nothing.
    block() noexcept = default;
    /// `size` bytes, not initialised. Raises as heap::allocate does.
    explicit block(std::size_t size);
    block(block&& other) noexcept;
    block& operator=(block&& other) noexcept;
    block(const block&) = delete;
    block& operator=(const block&) = delete;
    ~block();

    [[nodiscard]] char* data() noexcept { return data_; }
    [[nodiscard]] const char* data() const noexcept { return data_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
    std::shared_ptr<heap> heap_;
    char* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace memory
