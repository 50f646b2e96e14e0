#pragma once

#include "tests/outlook/qdmailprotect/support/scripted_store.h"

namespace test {

/// A stream of the store.
class scripted_stream final : public ComObject<IStream>, private scripted
{
public:
    scripted_stream(scripted_store& store, std::string name, ComPtr<IStream> inner)
        : scripted(store, std::move(name))
        , inner_(std::move(inner))
    {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) override;
    HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream** clone) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ComPtr<IStream> inner_;
};

} // namespace test
