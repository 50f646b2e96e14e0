#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

/// Puts the object that `make` returns into `out`: the result of a COM operation that creates an object.
template <typename T, typename Make>
HRESULT PutObject(T** out, Make make)
{
    if (!out) {
        return E_POINTER;
    }
    *out = nullptr;
    try {
        *out = make().detach();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

/// Enumerates a snapshot of elements as one of COM's enumerators. An `Element` owns its objects; Give() returns it as a
/// `Given`, with a reference that the caller of Next receives.
template <typename Interface, typename Given, typename Element>
class Enumerator final : public ComObject<Interface>
{
public:
    /// `iid` identifies `Interface` and must have static storage duration.
    Enumerator(const IID& iid, std::vector<Element> elements, std::size_t position = 0)
        : iid_(iid)
        , elements_(std::move(elements))
        , position_(position)
    {}

    /// Returns S_FALSE if fewer than `count` elements are left. `fetched` may be null if `count` is 1.
    HRESULT STDMETHODCALLTYPE Next(ULONG count, Given* given, ULONG* fetched) override
    {
        if (fetched) {
            *fetched = 0;
        }
        if (!given || (!fetched && count != 1)) {
            return E_POINTER;
        }
        const auto taken = static_cast<ULONG>(std::min<std::size_t>(count, elements_.size() - position_));
        for (ULONG i = 0; i < taken; ++i) {
            given[i] = elements_[position_++].Give();
        }
        if (fetched) {
            *fetched = taken;
        }
        return taken == count ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override
    {
        const std::size_t skipped = std::min<std::size_t>(count, elements_.size() - position_);
        position_ += skipped;
        return skipped == count ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Reset() override
    {
        position_ = 0;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Clone(Interface** clone) override
    {
        return PutObject(clone, [this] { return MakeCom<Enumerator>(iid_, elements_, position_); });
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == iid_ ? static_cast<Interface*>(this) : nullptr;
    }

private:
    const IID& iid_;
    const std::vector<Element> elements_;
    std::size_t position_;
};
