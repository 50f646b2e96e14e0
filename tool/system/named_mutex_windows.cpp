#include "tool/system/errors.h"
#include "tool/system/named_mutex.h"

#include <platform/handles.h>
#include <windows.h>

namespace winapi {

struct named_mutex_lock::state
{
    kernel_handle mutex;
};

named_mutex_lock::named_mutex_lock(const std::wstring& name)
    : state_(std::make_unique<state>())
{
    state_->mutex.reset(::CreateMutexW(nullptr, FALSE, name.c_str()));
    if (!state_->mutex) {
        throw last_error(::GetLastError(), __LINE__, "tool\\system\\named_mutex");
    }
    const DWORD outcome = ::WaitForSingleObject(state_->mutex.get(), INFINITE);
    if (outcome != WAIT_OBJECT_0 && outcome != WAIT_ABANDONED) {
        throw last_error(::GetLastError(), __LINE__, "tool\\system\\named_mutex");
    }
}

named_mutex_lock::~named_mutex_lock()
{
    ::ReleaseMutex(state_->mutex.get());
}

} // namespace winapi
