#pragma once

#include "tests/outlook/qdmailprotect/support/scripted_store.h"

namespace test {

/// A table of the store, or of given rows; supports only queries for rows with chosen columns.
class scripted_table final : public ComObject<IMAPITable>, private scripted
{
public:
    scripted_table(scripted_store& store, std::string name, ComPtr<IMAPITable> inner)
        : scripted(store, std::move(name))
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
    /// Makes attachments show the sizes that they claim.
    void claim_sizes(SRowSet& rows) const;

    ComPtr<IMAPITable> inner_;
};

} // namespace test
