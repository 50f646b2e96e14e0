#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace cctool::Serialization::StlDTree::detail {

/// The memory of all values of a tree. It is released as a whole, when nothing that was handed out of the tree is left:
/// the destructors of the values are not run, and a value that was replaced keeps its memory until then.
class Arena final : public std::enable_shared_from_this<Arena>
{
public:
    Arena() = default;
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena() = default;

    /// Constructs an object, which may own nothing but memory of the arena.
    template <typename T, typename... Arguments>
    [[nodiscard]] T& Make(Arguments&&... arguments)
    {
        return *std::construct_at(static_cast<T*>(Take(sizeof(T))), std::forward<Arguments>(arguments)...);
    }

    /// Returns memory for `count` objects, not initialised.
    template <typename T>
    [[nodiscard]] T* MakeRoom(std::size_t count)
    {
        static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
        return static_cast<T*>(Take(count * sizeof(T)));
    }

    /// Returns shared ownership of an object of the arena.
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> Share(T& object)
    {
        return {shared_from_this(), &object};
    }

private:
    static constexpr std::size_t alignment = alignof(std::uint64_t);
    static constexpr std::size_t first_block = 4096;
    static constexpr std::size_t largest_block = 65536;

    void* Take(std::size_t size)
    {
        const std::size_t rounded = (size + alignment - 1) / alignment * alignment;
        if (rounded > left_) {
            return TakeFromNewBlock(rounded);
        }
        left_ -= rounded;
        return std::exchange(next_, next_ + rounded);
    }

    void* TakeFromNewBlock(std::size_t size)
    {
        const bool own = size > block_size_ / 4; // the rest of the current block remains in use
        blocks_.push_back(std::make_unique_for_overwrite<std::byte[]>(own ? size : block_size_));
        std::byte* const begin = blocks_.back().get();
        if (!own) {
            next_ = begin + size;
            left_ = block_size_ - size;
            block_size_ = std::min(block_size_ * 2, largest_block);
        }
        return begin;
    }

    std::byte* next_ = nullptr;
    std::size_t left_ = 0;
    std::size_t block_size_ = first_block;
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

} // namespace cctool::Serialization::StlDTree::detail
