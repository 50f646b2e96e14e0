#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <atomic>
#include <new>
#include <utility>

/// Counting and interface look-up for a class that implements COM interfaces. Made with MakeCom and ended by its last
/// Release. Counting may happen on any thread.
template <typename... Interfaces>
class ComObject : public Interfaces...
{
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (!object) {
            return E_POINTER;
        }
        *object = FindInterface(iid);
        if (!*object) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;
    /// The interface as the pointer that its users expect, not counted; null when there is none.
    virtual void* FindInterface(REFIID iid) = 0;

private:
    std::atomic<ULONG> references_{0};
};

// An object of several interfaces has several IUnknown bases but one count.
template <typename... Interfaces>
void intrusive_ptr_add_ref(ComObject<Interfaces...>* object) noexcept
{
    object->AddRef();
}

template <typename... Interfaces>
void intrusive_ptr_release(ComObject<Interfaces...>* object) noexcept
{
    object->Release();
}

/// A new object with one reference, the caller's.
template <typename T, typename... Arguments>
ComPtr<T> MakeCom(Arguments&&... arguments)
{
    return ComPtr<T>(new T(std::forward<Arguments>(arguments)...));
}
