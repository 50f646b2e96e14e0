#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tool/system/unique_handle.h"

#include <platform/handles.h>

#include <mutex>

// Windows only. MAPI is bound at run time, so that the add-in also loads on a machine without it. MAPIInitialize,
// MAPIUninitialize, MAPIAllocateBuffer, MAPIAllocateMore and MAPIFreeBuffer are called by their usual names, which are
// defined here and call the process's only MapiLibrary.

/// MAPI's entry points, resolved at the first call of one. Thread-safe.
class MapiLibrary
{
public:
    /// `fileName` is a literal without a path. Uses the module of that name that is already loaded into the process,
    /// and otherwise the one in the system folder.
    explicit MapiLibrary(const wchar_t* fileName) noexcept
        : fileName_(fileName)
    {}

    /// Returns the library's result, or the system's error as an HRESULT if the library or the entry is missing.
    HRESULT Initialize(void* options);
    void Uninitialize();
    SCODE AllocateBuffer(ULONG size, void** buffer);
    SCODE AllocateMore(ULONG size, void* owner, void** buffer);
    ULONG FreeBuffer(void* buffer);

    /// Releases the library; the next call of an entry loads it again. No call may be in progress.
    void Release() noexcept;

private:
    template <typename Function>
    HRESULT Find(const char* name, Function& function, Function& found);

    const wchar_t* fileName_;
    std::mutex lock_; ///< guards the fields below; never held during a call
    winapi::module_handle module_;
    LPMAPIINITIALIZE initialize_ = nullptr;
    LPMAPIUNINITIALIZE uninitialize_ = nullptr;
    LPMAPIALLOCATEBUFFER allocateBuffer_ = nullptr;
    LPMAPIALLOCATEMORE allocateMore_ = nullptr;
    LPMAPIFREEBUFFER freeBuffer_ = nullptr;
};

/// Returns the library that the entry points of the usual names call.
MapiLibrary& SystemMapi() noexcept;
