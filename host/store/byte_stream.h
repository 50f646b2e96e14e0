#pragma once

#include "host/store/property_bag.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

#include <cstdint>
#include <memory>

namespace host {

/// A stream over one property in direct mode: what is written is in the property at once, Commit and Revert have
/// nothing to do. It may outlive the object that it came from. A stream that may not write answers
/// STG_E_ACCESSDENIED. Used by one thread at a time; counting is free.
class byte_stream final : public ComObject<IStream>
{
public:
    /// `bag` follows the stream's writes under `id`; null for a stream that belongs to no property.
    byte_stream(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag, std::uint32_t id,
                bool writable);

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
    void tell_property();

    std::shared_ptr<stream_state> state_;
    std::shared_ptr<property_bag> bag_;
    std::uint32_t id_;
    bool writable_;
    std::uint64_t position_ = 0;
};

} // namespace host
