#include "tool/asyncio/thread_identity_windows.h"
#include "tool/asyncio/wait_for_thread.h"

#include <memory>
#include <process.h>
#include <system_error>

namespace tpl {

namespace {

struct start_record
{
    void (*function)(void*);
    void* argument;
};

unsigned __stdcall enter_thread(void* parameter)
{
    const auto start = *std::unique_ptr<start_record>(static_cast<start_record*>(parameter));
    start.function(start.argument);
    return 0;
}

void* find_export(const wchar_t* module, const char* name)
{
    return reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(module), name));
}

/// THREAD_BASIC_INFORMATION, which the headers do not declare.
struct thread_basic_information
{
    LONG exit_status;
    void* environment;
    HANDLE process_id;
    HANDLE thread_id;
    ULONG_PTR affinity;
    LONG priority;
    LONG base_priority;
};

class windows_threads final : public thread_platform
{
public:
    [[nodiscard]] identity thread_identity(thread_handle handle) const override
    {
        return find_thread_identity(handle, &find_export);
    }
    [[nodiscard]] std::uint64_t current_thread_id() const override { return ::GetCurrentThreadId(); }
    void wait(thread_handle handle, std::uint32_t timeout) const override { ::WaitForSingleObject(handle, timeout); }
    void close(thread_handle handle) const override { ::CloseHandle(handle); }
};

} // namespace

thread_platform::identity find_thread_identity(thread_handle handle, export_finder find)
{
    using get_thread_id = DWORD(WINAPI*)(HANDLE);
    if (const auto function = reinterpret_cast<get_thread_id>(find(L"Kernel32.dll", "GetThreadId"))) {
        return {function(handle), false};
    }
    using query_thread = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    thread_basic_information information{};
    if (const auto function = reinterpret_cast<query_thread>(find(L"ntdll.dll", "NtQueryInformationThread"))) {
        function(handle, 0, &information, sizeof information, nullptr);
    }
    return {static_cast<std::uint64_t>(reinterpret_cast<ULONG_PTR>(information.thread_id)), true};
}

const thread_platform& system_thread_platform()
{
    static const windows_threads threads;
    return threads;
}

thread_handle start_thread(void (*function)(void*), void* argument)
{
    auto start = std::make_unique<start_record>(start_record{function, argument});
    const auto handle = ::_beginthreadex(nullptr, 0, &enter_thread, start.get(), 0, nullptr);
    if (handle == 0) {
        throw std::system_error(errno, std::generic_category(), "_beginthreadex");
    }
    static_cast<void>(start.release()); // the thread owns it now
    return reinterpret_cast<HANDLE>(handle);
}

void sleep_ex(std::uint32_t milliseconds, bool alertable)
{
    ::SleepEx(milliseconds, alertable ? TRUE : FALSE);
}

void cancel_io(native_handle handle)
{
    if (handle != invalid_handle) {
        ::CancelIo(reinterpret_cast<HANDLE>(handle));
    }
}

} // namespace tpl
