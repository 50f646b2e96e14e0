// Functions of the system that this program calls, itself or in a library that is linked statically: each is counted
// and passed on. The table of imports of the program is changed for that.

#include "tests/budget/counts.h"

#include <windows.h>
#include <winsock2.h>

#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace budget {

namespace {

/// Counts the calls of one function. The number keeps functions of one type apart.
template <typename Function, counted What, int Number>
struct counted_call;

template <typename Result, typename... Arguments, counted What, int Number>
struct counted_call<Result WSAAPI(Arguments...), What, Number>
{
    static inline Result(WSAAPI* real)(Arguments...) = nullptr;

    static Result WSAAPI call(Arguments... arguments)
    {
        count(What);
        return real(arguments...);
    }
};

// Of the functions that send, a call counts if it sent all that it was given.

decltype(&::WSASend) real_wsa_send = nullptr;
decltype(&::send) real_send = nullptr;

int WSAAPI count_wsa_send(SOCKET socket, WSABUF* pieces, DWORD size, DWORD* sent, DWORD flags,
                          WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine)
{
    const int result = real_wsa_send(socket, pieces, size, sent, flags, overlapped, routine);
    const auto add = [](DWORD sum, const WSABUF& piece) { return sum + piece.len; };
    if (result == 0 && (sent == nullptr || *sent == std::accumulate(pieces, pieces + size, DWORD{0}, add))) {
        count(counted::sends);
    }
    return result;
}

int WSAAPI count_send(SOCKET socket, const char* bytes, int size, int flags)
{
    const int result = real_send(socket, bytes, size, flags);
    if (result == size) {
        count(counted::sends);
    }
    return result;
}

/// Replaces one import of the program. Returns its former value; null if the program does not import the function.
void* replace_import(const char* module, std::string_view name, void* with)
{
    auto* const base = reinterpret_cast<unsigned char*>(::GetModuleHandleW(nullptr));
    const auto* const head = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const image = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + head->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = image->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
         entry->Name != 0; ++entry) {
        if (::lstrcmpiA(reinterpret_cast<const char*>(base + entry->Name), module) != 0) {
            continue;
        }
        const auto* label = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
        for (; label->u1.AddressOfData != 0; ++label, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(label->u1.Ordinal)) {
                continue;
            }
            const auto* const import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + label->u1.AddressOfData);
            if (name != reinterpret_cast<const char*>(import->Name)) {
                continue;
            }
            DWORD before = 0;
            ::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &before);
            void* const former = reinterpret_cast<void*>(slot->u1.Function);
            slot->u1.Function = reinterpret_cast<ULONG_PTR>(with);
            ::VirtualProtect(slot, sizeof *slot, before, &before);
            return former;
        }
    }
    return nullptr;
}

enum class need
{
    always,   ///< the program must call it, or what is counted has changed its name
    if_called ///< the program need not call it
};

template <typename Function>
void replace(const char* module, const char* name, Function*& real, std::type_identity_t<Function>* with,
             need needed = need::if_called)
{
    // Set ahead of the replacement: other threads may call the function at any time.
    real = reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA(module), name)));
    if (replace_import(module, name, reinterpret_cast<void*>(with)) == nullptr && needed == need::always) {
        throw std::logic_error(std::string("the program does not import ") + name);
    }
}

template <typename Function, counted What, int Number>
void count_calls(const char* module, const char* name, need needed = need::if_called)
{
    using call = counted_call<Function, What, Number>;
    replace(module, name, call::real, &call::call, needed);
}

void replace_winsock()
{
    constexpr const char* winsock = "ws2_32.dll";
    replace(winsock, "WSASend", real_wsa_send, &count_wsa_send, need::always);
    replace(winsock, "send", real_send, &count_send);
    count_calls<decltype(::WSARecv), counted::receives, 2>(winsock, "WSARecv", need::always);
    count_calls<decltype(::recv), counted::receives, 3>(winsock, "recv");
    count_calls<decltype(::select), counted::polls, 4>(winsock, "select");
    count_calls<decltype(::WSAWaitForMultipleEvents), counted::polls, 5>(winsock, "WSAWaitForMultipleEvents");
    count_calls<decltype(::WSAEventSelect), counted::socket_settings, 6>(winsock, "WSAEventSelect");
    count_calls<decltype(::WSAEnumNetworkEvents), counted::socket_settings, 7>(winsock, "WSAEnumNetworkEvents");
    count_calls<decltype(::ioctlsocket), counted::socket_settings, 8>(winsock, "ioctlsocket");
    count_calls<decltype(::setsockopt), counted::socket_settings, 9>(winsock, "setsockopt");
}

void replace_kernel()
{
    constexpr const char* kernel = "kernel32.dll";
    count_calls<decltype(::GetQueuedCompletionStatus), counted::completions, 10>(kernel, "GetQueuedCompletionStatus",
                                                                                 need::always);
    count_calls<decltype(::PostQueuedCompletionStatus), counted::hand_overs, 11>(kernel, "PostQueuedCompletionStatus");
    count_calls<decltype(::SetEvent), counted::hand_overs, 12>(kernel, "SetEvent", need::always);
    count_calls<decltype(::ReleaseSemaphore), counted::hand_overs, 13>(kernel, "ReleaseSemaphore");
    count_calls<decltype(::ReadFile), counted::file_calls, 14>(kernel, "ReadFile");
    count_calls<decltype(::WriteFile), counted::file_calls, 15>(kernel, "WriteFile");
    count_calls<decltype(::GetFileSizeEx), counted::file_calls, 16>(kernel, "GetFileSizeEx");
    count_calls<decltype(::SetFilePointerEx), counted::file_calls, 17>(kernel, "SetFilePointerEx");
    count_calls<decltype(::VirtualAlloc), counted::mappings, 18>(kernel, "VirtualAlloc");
    count_calls<decltype(::VirtualFree), counted::mappings, 19>(kernel, "VirtualFree");
}

} // namespace

void begin_counting()
{
    static const bool begun = [] {
        replace_winsock();
        replace_kernel();
        return true;
    }();
    static_cast<void>(begun);
}

std::uintptr_t own_thread() noexcept
{
    return ::GetCurrentThreadId();
}

} // namespace budget
