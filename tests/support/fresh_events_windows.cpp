// Gives events handle values that no recent event had.
//
// The thread pool of Wine 8 waits for a list of handle values that it copied before a wait was unregistered. If such an
// event is closed and a new one gets its value, the first signal of the new event is attributed to the unregistered wait
// and dropped. Windows has no such gap. A program whose tests register one wait after the other meets it within hundreds
// of events, a mail client hardly ever.
//
// The definitions below take the place of those in the import library of kernel32.

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>
#include <vector>

namespace {

using create_event = HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR);

create_event system_create_event()
{
    const auto address = ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "CreateEventW");
    return reinterpret_cast<create_event>(reinterpret_cast<void*>(address));
}

/// The values of the last events. Thread-safe.
class recent_handles
{
public:
    /// Returns false if a recent event had the value of `handle`; otherwise `handle` is the most recent one.
    bool add(HANDLE handle)
    {
        const std::lock_guard guard(lock_);
        if (std::find(handles_.begin(), handles_.end(), handle) != handles_.end()) {
            return false;
        }
        handles_[next_++ % handles_.size()] = handle;
        return true;
    }

private:
    std::mutex lock_;
    std::array<HANDLE, 64> handles_{};
    std::size_t next_ = 0;
};

HANDLE WINAPI create_fresh_event(LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL signalled, LPCWSTR name)
{
    static const create_event create = system_create_event();
    static recent_handles recent;
    std::vector<HANDLE> used;
    HANDLE event = create(attributes, manual, signalled, name);
    while (event != nullptr && name == nullptr && !recent.add(event)) {
        used.push_back(event);
        event = create(attributes, manual, signalled, name);
    }
    const DWORD error = ::GetLastError();
    for (const HANDLE handle : used) {
        ::CloseHandle(handle);
    }
    ::SetLastError(error);
    return event;
}

} // namespace

extern "C" {
extern const create_event __imp_CreateEventW;
const create_event __imp_CreateEventW = &create_fresh_event;
}
