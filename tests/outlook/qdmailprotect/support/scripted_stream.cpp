#include "tests/outlook/qdmailprotect/support/scripted_stream.h"

namespace test {

HRESULT STDMETHODCALLTYPE scripted_stream::QueryInterface(REFIID iid, void** object)
{
    return query(iid, object, [&] { return ComObject::QueryInterface(iid, object); });
}

void* scripted_stream::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream ? static_cast<IStream*>(this)
                                                                                     : nullptr;
}

HRESULT STDMETHODCALLTYPE scripted_stream::Read(void* buffer, ULONG count, ULONG* read)
{
    if (read) {
        *read = 0;
    }
    return run("Read " + std::to_string(count), [&] { return inner_->Read(buffer, count, read); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Write(const void* buffer, ULONG count, ULONG* written)
{
    if (written) {
        *written = 0;
    }
    return run("Write " + std::to_string(count), [&] { return inner_->Write(buffer, count, written); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position)
{
    return run("Seek " + std::to_string(move.QuadPart) + " " + std::to_string(origin),
               [&] { return inner_->Seek(move, origin, position); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::SetSize(ULARGE_INTEGER size)
{
    return run("SetSize " + std::to_string(size.QuadPart), [&] { return inner_->SetSize(size); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                                  ULARGE_INTEGER* written)
{
    return run("CopyTo", [&] { return inner_->CopyTo(target, count, read, written); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Commit(DWORD flags)
{
    return run("Commit " + std::to_string(flags), [&] { return inner_->Commit(flags); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Revert()
{
    return run("Revert", [&] { return inner_->Revert(); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type)
{
    return run("LockRegion", [&] { return inner_->LockRegion(offset, count, type); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type)
{
    return run("UnlockRegion", [&] { return inner_->UnlockRegion(offset, count, type); });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Stat(STATSTG* stat, DWORD flags)
{
    return run("Stat " + std::to_string(flags), [&] {
        const HRESULT result = inner_->Stat(stat, flags);
        if (const auto size = store_.claimed_size(name_); size && SUCCEEDED(result)) {
            stat->cbSize.QuadPart = *size;
        }
        return result;
    });
}

HRESULT STDMETHODCALLTYPE scripted_stream::Clone(IStream** clone)
{
    return run("Clone", [&] { return inner_->Clone(clone); });
}

} // namespace test
