#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "tool/web/io_data.h"

#include <cstdint>
#include <memory>

namespace host {

/// A stream over a random-access byte object, the reverse of web::io_stream. It works in direct mode: Commit and Revert
/// do nothing, and clones share their writes. Writes to a read-only stream return STG_E_ACCESSDENIED. Exceptions of the
/// byte object are converted to E_OUTOFMEMORY or E_FAIL. Reference counting is thread-safe; all other operations are
/// not.
class stream_object final : public ComObject<IStream>
{
public:
    stream_object(std::shared_ptr<web::io_data> data, bool writable);

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
    std::shared_ptr<web::io_data> data_;
    bool writable_;
    std::uint64_t position_ = 0;
};

} // namespace host
