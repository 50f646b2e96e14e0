#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"
#include "store/property_bag.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace host {

/// The source of a table's rows. Both functions are called at every operation of the table, so that it shows the
/// current contents.
struct row_source
{
    using row = std::shared_ptr<const property_bag>;

    std::function<std::size_t()> count;
    /// Returns the rows from `first` up to but excluding `last`; both are within the count.
    std::function<std::vector<row>(std::size_t first, std::size_t last)> rows;
};

/// A table over rows of properties. Without SetColumns each row has the columns that it was created with, strings as
/// Unicode. A value that is missing in a row is PT_ERROR, as is binary data that is too large for a table. Restricting,
/// sorting, bookmarks, categories and notifications return MAPI_E_NO_SUPPORT.
class row_table final : public ComObject<IMAPITable>
{
public:
    row_table(row_source rows, std::vector<std::uint32_t> columns);

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, LPMAPIERROR* error) override;
    HRESULT STDMETHODCALLTYPE Advise(ULONG events, LPMAPIADVISESINK sink, ULONG* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG connection) override;
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG* status, ULONG* type) override;
    HRESULT STDMETHODCALLTYPE SetColumns(LPSPropTagArray tags, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, LPSPropTagArray* tags) override;
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG count, LONG* sought) override;
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG numerator, ULONG denominator) override;
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) override;
    HRESULT STDMETHODCALLTYPE FindRow(LPSRestriction restriction, BOOKMARK origin, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Restrict(LPSRestriction restriction, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* position) override;
    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK position) override;
    HRESULT STDMETHODCALLTYPE SortTable(LPSSortOrderSet order, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QuerySortOrder(LPSSortOrderSet* order) override;
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, LPSRowSet* rows) override;
    HRESULT STDMETHODCALLTYPE Abort() override;
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG key_size, LPBYTE key, ULONG count, ULONG flags, LPSRowSet* rows,
                                        ULONG* more) override;
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG key_size, LPBYTE key, ULONG flags, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) override;
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG flags, ULONG key_size, LPBYTE key, ULONG* state_size,
                                               LPBYTE* state) override;
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG flags, ULONG state_size, LPBYTE state,
                                               BOOKMARK* location) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    [[nodiscard]] SPropValue* make_row(const property_bag& source) const;

    row_source rows_;
    std::vector<std::uint32_t> columns_;
    std::size_t position_ = 0;
    ledger_entry entry_{"IMAPITable", static_cast<IMAPITable*>(this)};
};

} // namespace host
