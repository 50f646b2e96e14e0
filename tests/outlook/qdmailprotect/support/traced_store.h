#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Wrappers for the objects of a real message store. They record each operation, can make any of them fail, and count
/// themselves, so that a missing or leaked reference is detected.
namespace test {

/// The state that all wrappers of one test share. Must outlive them.
class store_trace
{
public:
    store_trace() = default;
    store_trace(const store_trace&) = delete;
    store_trace& operator=(const store_trace&) = delete;

    /// Makes the n-th operation from now on, starting at 1, return `result` without being forwarded; its out-parameters
    /// remain empty. S_OK simulates a store that claims success and does nothing.
    void fail_nth(std::size_t n, HRESULT result);
    /// Does the same for each operation whose text begins with `start`.
    void fail(std::string start, HRESULT result) { failures_[std::move(start)] = result; }

    /// Forwards OpenProperty and CreateAttach, where their text begins with `start`, but returns `result`: simulates a
    /// store that returns an object together with a failure.
    void deny(std::string start, HRESULT result) { denials_[std::move(start)] = result; }

    /// Records an operation; returns true, with its `result`, if it must fail.
    bool fails(const std::string& operation, HRESULT& result);
    /// Returns the result of a forwarded operation.
    [[nodiscard]] HRESULT answer(const std::string& operation, HRESULT real) const;
    /// Returns the operations so far: the object's name, the operation, its arguments.
    [[nodiscard]] const std::vector<std::string>& calls() const noexcept { return calls_; }
    /// Returns the operations that begin with `start`.
    [[nodiscard]] std::vector<std::string> calls(const std::string& start) const;
    /// Discards the recorded operations and the failures.
    void clear();

    int alive = 0; ///< existing wrappers

private:
    std::vector<std::string> calls_;
    std::map<std::string, HRESULT> failures_;
    std::map<std::string, HRESULT> denials_;
    std::size_t failing_ = 0; ///< number of the operation that fails; 0: none
    HRESULT result_ = S_OK;
};

/// Counts one wrapper and assigns its name in the recorded calls.
class traced
{
public:
    traced(const traced&) = delete;
    traced& operator=(const traced&) = delete;

protected:
    traced(store_trace& trace, std::string name)
        : trace_(trace)
        , name_(std::move(name))
    {
        ++trace_.alive;
    }
    ~traced() { --trace_.alive; }
    bool fails(const std::string& operation, HRESULT& result) { return trace_.fails(name_ + "." + operation, result); }

    [[nodiscard]] HRESULT answer(const std::string& operation, HRESULT real) const
    {
        return trace_.answer(name_ + "." + operation, real);
    }

    store_trace& trace_;
    std::string name_;
};

/// A stream of the store.
class traced_stream final : public ComObject<IStream>, private traced
{
public:
    traced_stream(store_trace& trace, std::string name, ComPtr<IStream> inner)
        : traced(trace, std::move(name))
        , inner_(std::move(inner))
    {}

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

/// A table of the store; supports only queries for rows with chosen columns.
class traced_table final : public ComObject<IMAPITable>, private traced
{
public:
    traced_table(store_trace& trace, std::string name, ComPtr<IMAPITable> inner)
        : traced(trace, std::move(name))
        , inner_(std::move(inner))
    {}

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, LPMAPIADVISESINK, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetColumns(LPSPropTagArray tags, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG, LPSPropTagArray*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK, LONG, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG*, ULONG*, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindRow(LPSRestriction, BOOKMARK, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Restrict(LPSRestriction, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SortTable(LPSSortOrderSet, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QuerySortOrder(LPSSortOrderSet*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, LPSRowSet* rows) override;
    HRESULT STDMETHODCALLTYPE Abort() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, LPBYTE, ULONG, ULONG, LPSRowSet*, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, LPBYTE, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, LPBYTE, ULONG*, LPBYTE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, LPBYTE, BOOKMARK*) override { return E_NOTIMPL; }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IMAPITable ? static_cast<IMAPITable*>(this) : nullptr;
    }

private:
    ComPtr<IMAPITable> inner_;
};

/// IMAPIProp over an object of the store; streams and messages that it opens are wrapped.
template <typename Inner, typename... Interfaces>
class traced_prop : public ComObject<Interfaces...>, protected traced
{
public:
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
    traced_prop(store_trace& trace, std::string name, ComPtr<Inner> inner)
        : traced(trace, std::move(name))
        , inner_(std::move(inner))
    {}
    /// Returns the wrapper of an opened property.
    ComPtr<IUnknown> wrap_opened(ULONG tag, ComPtr<IUnknown> opened);

    ComPtr<Inner> inner_;
};

/// An attachment of the store.
class traced_attach final : public traced_prop<IAttach, IAttach>
{
public:
    traced_attach(store_trace& trace, std::string name, ComPtr<IAttach> inner)
        : traced_prop(trace, std::move(name), std::move(inner))
    {}

protected:
    void* FindInterface(REFIID iid) override;
};

/// A message of the store, which may be the wrapper of an encrypted one. Its attachments are named "attach" followed by
/// their number, its tables "table".
class traced_message final : public traced_prop<IMessage, IMessage, ISecuredMessage>
{
public:
    traced_message(store_trace& trace, std::string name, ComPtr<IMessage> inner)
        : traced_prop(trace, std::move(name), std::move(inner))
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
