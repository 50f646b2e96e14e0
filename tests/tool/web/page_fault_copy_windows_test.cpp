#include "tests/support/guarded_buffer.h"
#include "tool/web/io_memory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using web::io_memory;

std::byte* base_of(io_memory& memory)
{
    std::byte* base = nullptr;
    std::uint64_t size = 0;
    EXPECT_TRUE(memory.memory_range(base, size));
    return base;
}

DWORD state_of(const std::byte* address)
{
    MEMORY_BASIC_INFORMATION page{};
    EXPECT_NE(::VirtualQuery(address, &page, sizeof(page)), 0U);
    return page.State;
}

TEST(io_memory_pages, are_committed_only_where_data_reached)
{
    io_memory memory(10 * 4096);
    const std::byte* const base = base_of(memory);
    EXPECT_EQ(state_of(base), static_cast<DWORD>(MEM_COMMIT)) << "the first page from the start";
    EXPECT_EQ(state_of(base + 4096), static_cast<DWORD>(MEM_RESERVE));
    memory.write(5 * 4096 + 100, "x", 1);
    EXPECT_EQ(state_of(base + 4 * 4096), static_cast<DWORD>(MEM_RESERVE));
    EXPECT_EQ(state_of(base + 5 * 4096), static_cast<DWORD>(MEM_COMMIT));
    EXPECT_EQ(state_of(base + 6 * 4096), static_cast<DWORD>(MEM_RESERVE));
}

TEST(io_memory_pages, that_cannot_be_committed_make_the_copy_fail)
{
    io_memory memory(10 * 4096);
    std::byte* const base = base_of(memory);
    memory.size(10 * 4096);
    // Releases the region without its owner's knowledge: no page of it can be committed afterwards.
    ASSERT_NE(::VirtualFree(base, 0, MEM_RELEASE), FALSE);
    char bytes[100] = {};
    const auto text_of = [](const auto& call) -> std::string {
        try {
            call();
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "no exception";
    };
    EXPECT_EQ(text_of([&] { memory.read(8 * 4096, bytes, 100); }), "io_memory::read(): unexpected error");
    EXPECT_EQ(text_of([&] { memory.write(8 * 4096, bytes, 100); }), "io_memory::write(): unexpected error");
    memory.size(9 * 4096);
    EXPECT_EQ(text_of([&] { memory.append(bytes, 100); }), "io_memory::append(): unexpected error");
    EXPECT_EQ(memory.size(), 9U * 4096U) << "a failed copy leaves the size alone";
}

/// Counts, in the last handler of the chain, the faults that were passed on.
int faults_passed_on = 0;
void* repaired_page = nullptr;

LONG CALLBACK last_handler(EXCEPTION_POINTERS* fault)
{
    if (fault->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    ++faults_passed_on;
    DWORD before = 0;
    ::VirtualProtect(repaired_page, 4096, PAGE_READWRITE, &before);
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(io_memory_pages, leave_a_fault_of_another_address_to_others)
{
    io_memory memory(10 * 4096);
    repaired_page = ::VirtualAlloc(nullptr, 4096, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
    ASSERT_NE(repaired_page, nullptr);
    void* const handler = ::AddVectoredExceptionHandler(0, last_handler);
    faults_passed_on = 0;
    EXPECT_EQ(memory.write(3 * 4096, repaired_page, 10), 10U);
    EXPECT_EQ(faults_passed_on, 1) << "the source's page, and not the store's own";
    ::RemoveVectoredExceptionHandler(handler);
    ::VirtualFree(repaired_page, 0, MEM_RELEASE);
}

TEST(io_memory_pages, leave_a_fault_outside_of_a_copy_to_others)
{
    io_memory memory(10 * 4096);
    volatile std::byte* const base = base_of(memory);
    repaired_page = const_cast<std::byte*>(base) + 4096;
    void* const handler = ::AddVectoredExceptionHandler(0, [](EXCEPTION_POINTERS* fault) -> LONG {
        if (fault->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        ++faults_passed_on;
        return ::VirtualAlloc(repaired_page, 4096, MEM_COMMIT, PAGE_READWRITE) != nullptr ? EXCEPTION_CONTINUE_EXECUTION
                                                                                          : EXCEPTION_CONTINUE_SEARCH;
    });
    faults_passed_on = 0;
    base[4096] = std::byte{1};
    EXPECT_EQ(faults_passed_on, 1);
    ::RemoveVectoredExceptionHandler(handler);
}

TEST(io_memory_pages, come_to_many_threads_at_once)
{
    std::vector<std::thread> threads;
    std::vector<int> wrong(8, 0);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i, &wrong] {
            for (int round = 0; round < 20; ++round) {
                io_memory memory(64 * 4096);
                const std::string bytes(64 * 4096, static_cast<char>('a' + i));
                std::string back(bytes.size(), '\0');
                if (memory.write(0, bytes.data(), bytes.size()) != bytes.size() ||
                    memory.read(0, back.data(), back.size()) != back.size() || back != bytes) {
                    ++wrong[static_cast<std::size_t>(i)];
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(8, 0));
}

TEST(io_memory_pages, keep_the_last_error_of_the_thread)
{
    io_memory memory(10 * 4096);
    ::SetLastError(1234);
    memory.write(4 * 4096, "x", 1);
    EXPECT_EQ(::GetLastError(), 1234U);
}

} // namespace
