#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <atomic>
#include <new>
#include <utility>

/// Reference counting and interface look-up for a class that implements COM interfaces. Objects are created with
/// MakeCom and destroyed by their last Release. Reference counting is thread-safe.
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
    /// Returns a pointer to the interface of type `iid` without adding a reference; null if it is not implemented.
    virtual void* FindInterface(REFIID iid) = 0;

private:
    std::atomic<ULONG> references_{0};
};

// An object of several interfaces has several IUnknown bases but one reference count.
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

/// Creates an object with one reference, which the caller owns.
template <typename T, typename... Arguments>
ComPtr<T> MakeCom(Arguments&&... arguments)
{
    return ComPtr<T>(new T(std::forward<Arguments>(arguments)...));
}
