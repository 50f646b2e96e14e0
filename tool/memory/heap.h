#pragma once

#include <cstddef>
#include <memory>

/// The private heap, which separates bursts of scan traffic from the host's own heap.
namespace memory {

/// A separate heap. Thread-safe. Derived classes exist for tests.
class heap
{
public:
    /// Throws error::win32exception if the platform cannot make a heap.
    heap();
    heap(const heap&) = delete;
    heap& operator=(const heap&) = delete;
    /// Destroys the heap together with all bytes that were not released.
    virtual ~heap();

    /// Returns `count` bytes, not initialised, aligned for any object. Throws error::win32exception with the platform's
    /// code.
    [[nodiscard]] virtual void* allocate(std::size_t count);
    /// Frees bytes that allocate() of the same heap returned; null is allowed.
    virtual void release(void* bytes) noexcept;

    /// Returns the process's heap, made at first use. The owner of bytes from it must also own the heap, so that the
    /// heap outlives them.
    [[nodiscard]] static std::shared_ptr<heap> process_heap();

private:
    struct native;
    std::unique_ptr<native> native_;
};

/// While this object exists, heap::process_heap() returns another heap, so that a test can make allocations fail. Bytes
/// that were allocated before are freed to their former heap, because their owner owns that heap.
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
    /// Allocates `size` bytes, not initialised. Throws as heap::allocate does.
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
