#pragma once

#include "tests/outlook/qdmailprotect/support/scripted_store.h"

namespace test {

/// IMAPIProp over an object of the store. Streams and messages that it opens are wrapped; a storage is replaced by an
/// object that only claims to be one.
template <typename Inner, typename... Interfaces>
class scripted_prop : public ComObject<Interfaces...>, protected scripted
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, LPMAPIERROR* error) override
    {
        return inner_->GetLastError(result, flags, error);
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count, LPSPropValue* values) override;
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, LPSPropTagArray* tags) override;
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                                           LPUNKNOWN* object) override;
    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) override;
    HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) override;
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                     LPSPropProblemArray*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                        LPSPropProblemArray*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray* tags, LPGUID set, ULONG flags, ULONG* count,
                                              LPMAPINAMEID** names) override;
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                              LPSPropTagArray* tags) override;

protected:
    scripted_prop(scripted_store& store, std::string name, ComPtr<Inner> inner)
        : scripted(store, std::move(name))
        , inner_(std::move(inner))
    {}
    /// Returns the wrapper of an opened property; null for null.
    ComPtr<IUnknown> wrap_opened(ULONG tag, ComPtr<IUnknown> opened);

    ComPtr<Inner> inner_;
};

/// An attachment of the store.
class scripted_attach final : public scripted_prop<IAttach, IAttach>
{
public:
    scripted_attach(scripted_store& store, std::string name, ComPtr<IAttach> inner)
        : scripted_prop(store, std::move(name), std::move(inner))
    {}

protected:
    void* FindInterface(REFIID iid) override;
};

/// A message of the store, which may be the wrapper of an encrypted one. Its attachments are named "attach" followed by
/// their number, its tables "table".
class scripted_message final : public scripted_prop<IMessage, IMessage, ISecuredMessage>
{
public:
    scripted_message(scripted_store& store, std::string name, ComPtr<IMessage> inner)
        : scripted_prop(store, std::move(name), std::move(inner))
    {}

    /// Makes the message implement ISecuredMessage and return `base`, which may be null, as the base message.
    void wrap(ComPtr<IMessage> base)
    {
        secured_ = true;
        base_ = std::move(base);
    }
    /// Returns a reference for a callee that releases it.
    [[nodiscard]] ComPtr<IMessage> reference() noexcept { return ComPtr<IMessage>(static_cast<IMessage*>(this)); }
    [[nodiscard]] IMessage* pointer() noexcept { return this; }

    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, LPMAPITABLE* table) override;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach) override;
    HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID iid, ULONG flags, ULONG* number, LPATTACH* attach) override;
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG ui, LPMAPIPROGRESS progress, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, LPMAPITABLE* table) override;
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, LPADRLIST changes) override;
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG flags) override;
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) override;

    HRESULT STDMETHODCALLTYPE Unused4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetBaseMessage(IMessage** base) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ComPtr<IAttach> wrap_attach(ULONG number, ComPtr<IAttach> attach);

    bool secured_ = false;
    ComPtr<IMessage> base_;
};

} // namespace test
