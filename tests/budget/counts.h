#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace budget {

/// What the test program counts of its own calls, on all threads except those that are set aside.
enum class counted : std::size_t
{
    sends,             ///< calls that sent all they were given: how often a socket is full depends on the load
    receives,          ///< calls that receive from a socket, or begin to
    completions,       ///< waits for completions that returned: of an epoll set, or of a completion port
    polls,             ///< waits for one socket: poll, select, an event of Winsock
    socket_settings,   ///< changes of a descriptor or socket: fcntl, ioctlsocket, epoll_ctl, event selection
    file_calls,        ///< reads, writes, and questions about the size of a file
    mappings,          ///< mmap and munmap, VirtualAlloc and VirtualFree, by the program itself
    hand_overs,        ///< signals for which another thread waited
    allocations,       ///< by operator new, and of the private heap
    large_allocations, ///< those of 128 KiB and more, for which an allocator may map and unmap memory
    end
};

inline constexpr std::size_t kinds = static_cast<std::size_t>(counted::end);

using counts = std::array<std::uint64_t, kinds>;

/// A row of a table of budgets.
struct limit
{
    counted what;
    std::uint64_t most;
};

/// Counts one call of this thread. Allocates nothing.
void count(counted what) noexcept;
/// Counts an allocation of `size` bytes.
void count_allocation(std::size_t size) noexcept;

/// Sets this thread aside while the object exists: what it does is not counted. At most 64 threads at a time.
class set_aside
{
public:
    set_aside() noexcept;
    set_aside(const set_aside&) = delete;
    set_aside& operator=(const set_aside&) = delete;
    ~set_aside();

private:
    std::size_t place_;
};

/// Counts what `work` does, `times` times in turn, and returns the median of each count: a thread that is late may move
/// a call of one turn into the next.
counts median_of(std::size_t times, const std::function<void()>& work);

/// Fails the test for each row whose count is greater than the budget. `what` is part of the message.
void expect_within(const char* what, const counts& found, const limit* rows, std::size_t size);

template <std::size_t Size>
void expect_within(const char* what, const counts& found, const std::array<limit, Size>& rows)
{
    expect_within(what, found, rows.data(), rows.size());
}

/// Prepares the system's part: after this call the calls of this program are counted.
void begin_counting();
/// Returns an identifier of this thread that is not 0. Allocates nothing.
[[nodiscard]] std::uintptr_t own_thread() noexcept;

} // namespace budget
