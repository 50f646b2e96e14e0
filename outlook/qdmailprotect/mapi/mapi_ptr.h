#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <memory>

inline void intrusive_ptr_add_ref(IUnknown* object) noexcept
{
    object->AddRef();
}

inline void intrusive_ptr_release(IUnknown* object) noexcept
{
    object->Release();
}

/// A counted reference to a COM object. Passed by value where the callee releases it.
template <typename T>
using ComPtr = boost::intrusive_ptr<T>;

/// The out-parameter of a COM call. A full expression passes `Receive(pointer)` to an operation that writes a T**, an
/// IUnknown** or a void**. At the end of the expression `pointer` owns the returned reference, and its previous one is
/// released.
template <typename T>
class Receive
{
public:
    explicit Receive(ComPtr<T>& target) noexcept
        : target_(target)
    {}
    Receive(const Receive&) = delete;
    Receive& operator=(const Receive&) = delete;
    ~Receive() { target_ = ComPtr<T>(static_cast<T*>(object_), false); }

    operator T**() noexcept { return &object_; }
    operator void**() noexcept { return reinterpret_cast<void**>(&object_); }

private:
    ComPtr<T>& target_;
    T* object_ = nullptr;
};

/// Queries `object` for another interface. On failure `out` is null, even if the object returned an interface, and
/// the failure code is returned.
template <typename T>
HRESULT Query(IUnknown* object, REFIID iid, ComPtr<T>& out)
{
    const HRESULT result = object->QueryInterface(iid, Receive(out));
    if (FAILED(result)) {
        out.reset();
    }
    return result;
}

/// Frees memory that the message store allocated.
struct MapiFree
{
    void operator()(void* buffer) const noexcept { MAPIFreeBuffer(buffer); }
};

template <typename T>
using MapiBuffer = std::unique_ptr<T, MapiFree>;

/// Frees the rows of a table query, each with its values.
struct RowSetFree
{
    void operator()(SRowSet* rows) const noexcept
    {
        for (ULONG i = 0; i < rows->cRows; ++i) {
            MAPIFreeBuffer(rows->aRow[i].lpProps);
        }
        MAPIFreeBuffer(rows);
    }
};

using RowSetPtr = std::unique_ptr<SRowSet, RowSetFree>;
