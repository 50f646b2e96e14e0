#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tool/system/unique_handle.h"

#include <platform/handles.h>

#include <mutex>

// Windows only. MAPI is bound at run time, so that a machine without it still loads the add-in. MAPIInitialize,
// MAPIUninitialize, MAPIAllocateBuffer, MAPIAllocateMore and MAPIFreeBuffer are called by these names as anywhere; the
// names are defined here and go to the process's one MapiLibrary.

/// MAPI's entry points, found at the first call of one. May be used from any thread.
class MapiLibrary
{
public:
    /// `fileName` without a path, a literal. If the process has a module of that name, it is that one; otherwise the
    /// system folder's.
    explicit MapiLibrary(const wchar_t* fileName) noexcept
        : fileName_(fileName)
    {}

    /// The library's results, or the system's error as an HRESULT when there is no library or no such entry.
    HRESULT Initialize(void* options);
    void Uninitialize();
    SCODE AllocateBuffer(ULONG size, void** buffer);
    SCODE AllocateMore(ULONG size, void* owner, void** buffer);
    ULONG FreeBuffer(void* buffer);

    /// Lets go of the library; the next call of an entry finds it again. No call may be running.
    void Release() noexcept;

private:
    template <typename Function>
    HRESULT Find(const char* name, Function& function, Function& found);

    const wchar_t* fileName_;
    std::mutex lock_; ///< guards the fields below, never held during a call
    winapi::module_handle module_;
    LPMAPIINITIALIZE initialize_ = nullptr;
    LPMAPIUNINITIALIZE uninitialize_ = nullptr;
    LPMAPIALLOCATEBUFFER allocateBuffer_ = nullptr;
    LPMAPIALLOCATEMORE allocateMore_ = nullptr;
    LPMAPIFREEBUFFER freeBuffer_ = nullptr;
};

/// The library behind the entry points' own names.
MapiLibrary& SystemMapi() noexcept;
