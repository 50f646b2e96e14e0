#include "outlook/qdmailprotect/mapi/mapi_library.h"

#include <array>
#include <string>

namespace {

HRESULT LastResult()
{
    return HRESULT_FROM_WIN32(::GetLastError());
}

/// Returns the library with an additional reference. The client may have loaded a library of its own. The folder of the
/// executable and the current folder are not searched.
HMODULE OpenLibrary(const wchar_t* fileName)
{
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(0, fileName, &module) != FALSE) {
        return module;
    }
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = ::GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    if (length == 0 || length >= folder.size()) {
        return nullptr;
    }
    return ::LoadLibraryW((std::wstring(folder.data(), length) + L'\\' + fileName).c_str());
}

} // namespace

template <typename Function>
HRESULT MapiLibrary::Find(const char* name, Function& function, Function& found)
{
    const std::lock_guard guard(lock_);
    if (!function) {
        if (!module_) {
            module_.reset(OpenLibrary(fileName_));
        }
        if (!module_) {
            return LastResult();
        }
        function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module_.get(), name)));
        if (!function) {
            return LastResult();
        }
    }
    found = function;
    return S_OK;
}

HRESULT MapiLibrary::Initialize(void* options)
{
    LPMAPIINITIALIZE call = nullptr;
    const HRESULT result = Find("MAPIInitialize", initialize_, call);
    return call ? call(options) : result;
}

void MapiLibrary::Uninitialize()
{
    LPMAPIUNINITIALIZE call = nullptr;
    Find("MAPIUninitialize", uninitialize_, call);
    if (call) {
        call();
    }
}

SCODE MapiLibrary::AllocateBuffer(ULONG size, void** buffer)
{
    LPMAPIALLOCATEBUFFER call = nullptr;
    const HRESULT result = Find("MAPIAllocateBuffer", allocateBuffer_, call);
    return call ? call(size, buffer) : result;
}

SCODE MapiLibrary::AllocateMore(ULONG size, void* owner, void** buffer)
{
    LPMAPIALLOCATEMORE call = nullptr;
    const HRESULT result = Find("MAPIAllocateMore", allocateMore_, call);
    return call ? call(size, owner, buffer) : result;
}

ULONG MapiLibrary::FreeBuffer(void* buffer)
{
    if (!buffer) {
        return 0;
    }
    LPMAPIFREEBUFFER call = nullptr;
    const HRESULT result = Find("MAPIFreeBuffer", freeBuffer_, call);
    return call ? call(buffer) : static_cast<ULONG>(result);
}

void MapiLibrary::Release() noexcept
{
    const std::lock_guard guard(lock_);
    initialize_ = nullptr;
    uninitialize_ = nullptr;
    allocateBuffer_ = nullptr;
    allocateMore_ = nullptr;
    freeBuffer_ = nullptr;
    module_.reset();
}

MapiLibrary& SystemMapi() noexcept
{
    static MapiLibrary library(L"mapi32.dll");
    return library;
}

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID options)
{
    return SystemMapi().Initialize(options);
}

void WINAPI MAPIUninitialize()
{
    SystemMapi().Uninitialize();
}

SCODE WINAPI MAPIAllocateBuffer(ULONG size, LPVOID* buffer)
{
    return SystemMapi().AllocateBuffer(size, buffer);
}

SCODE WINAPI MAPIAllocateMore(ULONG size, LPVOID owner, LPVOID* buffer)
{
    return SystemMapi().AllocateMore(size, owner, buffer);
}

ULONG WINAPI MAPIFreeBuffer(LPVOID buffer)
{
    return SystemMapi().FreeBuffer(buffer);
}

} // extern "C"
