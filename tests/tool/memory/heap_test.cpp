#include "tests/support/failing_heap.h"
#include "tool/memory/heap.h"
#include "tool/memory/heap_allocator.h"
#include "tool/system/errors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <thread>
#include <utility>
#include <vector>

namespace {

using heap_bytes = std::vector<char, memory::heap_allocator<char>>;

TEST(heap, gives_bytes_that_keep_what_is_written)
{
    memory::heap heap;
    std::vector<char*> pieces;
    for (std::size_t i = 0; i < 100; ++i) {
        auto* const piece = static_cast<char*>(heap.allocate(i + 1));
        std::memset(piece, static_cast<int>(i), i + 1);
        pieces.push_back(piece);
    }
    for (std::size_t i = 0; i < 100; ++i) {
        for (std::size_t byte = 0; byte <= i; ++byte) {
            ASSERT_EQ(pieces[i][byte], static_cast<char>(i));
        }
        heap.release(pieces[i]);
    }
}

TEST(heap, aligns_for_any_object)
{
    memory::heap heap;
    for (std::size_t size = 1; size < 64; ++size) {
        void* const piece = heap.allocate(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece) % alignof(std::max_align_t), 0U);
        heap.release(piece);
    }
}

TEST(heap, gives_an_address_for_no_bytes_and_takes_null_back)
{
    memory::heap heap;
    void* const piece = heap.allocate(0);
    EXPECT_NE(piece, nullptr);
    heap.release(piece);
    heap.release(nullptr);
}

TEST(process_heap, is_one_for_all)
{
    const auto first = memory::heap::process_heap();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, memory::heap::process_heap());
}

TEST(process_heap, serves_many_threads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 500; ++round) {
                memory::block bytes(64 + static_cast<std::size_t>(round));
                std::memset(bytes.data(), i, bytes.size());
                for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
                    ASSERT_EQ(bytes.data()[byte], static_cast<char>(i));
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST(process_heap_override, makes_allocations_fail_from_a_chosen_one_on)
{
    test::heap_failure failure(2);
    const memory::block first(10);
    const memory::block second(10);
    EXPECT_THROW(memory::block(10), error::win32exception);
    failure.heap().allow(1);
    const memory::block third(10);
    EXPECT_EQ(failure.heap().outstanding(), 3U);
    EXPECT_THROW(memory::block(10), error::win32exception);
}

TEST(process_heap_override, puts_the_heap_before_it_back)
{
    const auto before = memory::heap::process_heap();
    {
        const test::heap_failure failure;
        EXPECT_NE(memory::heap::process_heap(), before);
    }
    EXPECT_EQ(memory::heap::process_heap(), before);
}

TEST(block, goes_back_to_the_heap_that_it_came_from)
{
    auto heap = std::make_shared<test::failing_heap>(10);
    memory::block kept;
    {
        const memory::process_heap_override in_place(heap);
        kept = memory::block(100);
    }
    EXPECT_EQ(heap->outstanding(), 1U);
    kept = memory::block(1);
    EXPECT_EQ(heap->outstanding(), 0U);
}

TEST(block, keeps_its_heap_alive)
{
    std::weak_ptr<memory::heap> watched;
    memory::block kept;
    {
        auto heap = std::make_shared<memory::heap>();
        watched = heap;
        const memory::process_heap_override in_place(std::move(heap));
        kept = memory::block(100);
    }
    EXPECT_FALSE(watched.expired());
    std::memset(kept.data(), 1, kept.size());
    kept = memory::block();
    EXPECT_TRUE(watched.expired());
}

TEST(block, hands_its_bytes_over_when_moved)
{
    memory::block first(5);
    char* const address = first.data();
    memory::block second(std::move(first));
    EXPECT_EQ(second.data(), address);
    EXPECT_EQ(second.size(), 5U);
    EXPECT_EQ(first.data(), nullptr); // NOLINT(bugprone-use-after-move): the state after a move is told
    EXPECT_EQ(first.size(), 0U);
}

TEST(block, has_no_bytes_until_it_gets_those_of_another)
{
    memory::block empty;
    EXPECT_EQ(empty.data(), nullptr);
    EXPECT_EQ(empty.size(), 0U);
    memory::block full(5);
    const char* const address = full.data();
    empty = std::move(full);
    EXPECT_EQ(empty.data(), address);
    EXPECT_EQ(empty.size(), 5U);
}

TEST(heap_allocator, refuses_more_items_than_a_size_can_count)
{
    const test::heap_failure failure;
    memory::heap_allocator<std::uint64_t> allocator;
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / sizeof(std::uint64_t);
    EXPECT_THROW(static_cast<void>(allocator.allocate(most + 1)), std::bad_array_new_length);
    EXPECT_THROW(static_cast<void>(allocator.allocate(most)), error::win32exception) << "asks the heap";
}

TEST(heap_allocator, feeds_a_container_from_the_processs_heap)
{
    auto heap = std::make_shared<test::failing_heap>(1000);
    {
        const memory::process_heap_override in_place(heap);
        heap_bytes bytes(300, 'x');
        EXPECT_EQ(heap->outstanding(), 1U);
        bytes.resize(100000, 'y');
        EXPECT_EQ(heap->outstanding(), 1U);
        EXPECT_EQ(bytes[299], 'x');
        EXPECT_EQ(bytes[99999], 'y');
        heap_bytes copy = bytes;
        EXPECT_EQ(heap->outstanding(), 2U);
        EXPECT_EQ(copy, bytes);
    }
    EXPECT_EQ(heap->outstanding(), 0U);
}

TEST(heap_allocator, lets_the_failure_of_the_heap_out)
{
    const test::heap_failure failure;
    EXPECT_THROW(heap_bytes(10), error::win32exception);
}

TEST(heap_allocator, equals_one_of_the_same_heap)
{
    const memory::heap_allocator<char> first;
    const memory::heap_allocator<int> second(first);
    EXPECT_TRUE(first == second);
    const test::heap_failure failure;
    EXPECT_FALSE(first == memory::heap_allocator<char>());
}

} // namespace
