#include "tool/system/errors.h"
#include "tool/web/page_fault_copy.h"

#include <platform/handles.h>

#include <cstring>

namespace web::page_fault_copy {

namespace {

constexpr const char* source_path = "tool\\web\\io_memory";

/// A copy that is under way on a thread.
struct active_copy
{
    range pages;
    CONTEXT resume{};             // the state to resume if a page cannot be committed
    volatile bool failed = false; // set by the fault handler before it resumes `resume`
};

LONG CALLBACK on_fault(EXCEPTION_POINTERS* fault);

/// The process's handler, and the slot in which it finds a thread's copy. A slot of the system, unlike a thread-local
/// variable, can be read within the handler without any allocation.
class fault_handling
{
public:
    fault_handling()
        : slot_(::TlsAlloc())
    {
        if (slot_ == TLS_OUT_OF_INDEXES) {
            throw error::win32exception(::GetLastError(), source_path, __LINE__);
        }
        handler_ = ::AddVectoredExceptionHandler(1, on_fault);
        if (handler_ == nullptr) {
            const DWORD code = ::GetLastError();
            ::TlsFree(slot_);
            throw error::win32exception(code, source_path, __LINE__);
        }
    }
    fault_handling(const fault_handling&) = delete;
    fault_handling& operator=(const fault_handling&) = delete;
    ~fault_handling()
    {
        ::RemoveVectoredExceptionHandler(handler_);
        ::TlsFree(slot_);
    }

    [[nodiscard]] active_copy* current() const noexcept { return static_cast<active_copy*>(::TlsGetValue(slot_)); }
    void current(active_copy* copy) const noexcept { ::TlsSetValue(slot_, copy); }

private:
    DWORD slot_;
    void* handler_ = nullptr;
};

const fault_handling& handling()
{
    static const fault_handling only;
    return only;
}

LONG CALLBACK on_fault(EXCEPTION_POINTERS* fault)
{
    const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || record.NumberParameters != 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const winapi::last_error_keeper keeper;
    active_copy* const copy = handling().current();
    if (copy == nullptr) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const auto address = static_cast<std::uint64_t>(record.ExceptionInformation[1]);
    const auto base = reinterpret_cast<std::uint64_t>(copy->pages.base);
    if (address < base || address - base >= copy->pages.size) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (::VirtualAlloc(copy->pages.base + (address - base), 1, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        copy->failed = true;
        *fault->ContextRecord = copy->resume;
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

/// Registers a copy with the handler while it runs.
class announcement
{
public:
    explicit announcement(active_copy& copy) noexcept { handling().current(&copy); }
    announcement(const announcement&) = delete;
    announcement& operator=(const announcement&) = delete;
    ~announcement() { handling().current(nullptr); }
};

/// The handler may make this function return a second time from RtlCaptureContext. It is not inlined, so that only its
/// own parameters must survive that.
__attribute__((noinline)) bool copy_or_come_back(active_copy& copy, void* destination, const void* source,
                                                 std::uint64_t count) noexcept
{
    ::RtlCaptureContext(&copy.resume);
    if (copy.failed) {
        return false;
    }
    std::memmove(destination, source, count);
    return true;
}

} // namespace

void prepare()
{
    handling();
}

bool run(const range& pages, void* destination, const void* source, std::uint64_t count) noexcept
{
    active_copy copy{pages};
    const announcement announced(copy);
    return copy_or_come_back(copy, destination, source, count);
}

} // namespace web::page_fault_copy
