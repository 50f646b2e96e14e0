#include "store/row_table.h"

#include "store/guard.h"
#include "store/mapi_values.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

constexpr std::uint64_t largest_cell = 510; ///< real tables truncate longer values; here they are omitted
constexpr ULONG status_complete = 0;        ///< TBLSTAT_COMPLETE
constexpr ULONG type_dynamic = 2;           ///< TBLTYPE_DYNAMIC

property_value cell(const property_bag& row, std::uint32_t tag)
{
    const property_value* found = row.find(PROP_ID(tag));
    const std::uint32_t type = PROP_TYPE(tag);
    if (!found || (found->type != type && !(is_string(type) && is_string(found->type)))) {
        return property_value::of_error(MAPI_E_NOT_FOUND);
    }
    if (found->type == PT_BINARY && found->size() > largest_cell) {
        return property_value::of_error(MAPI_E_NOT_ENOUGH_MEMORY);
    }
    return is_string(type) ? convert_string(*found, type) : *found;
}

/// Allocates rows that are freed as a whole if an exception is thrown before they are complete.
RowSetPtr make_rows(std::size_t count)
{
    mapi_buffer buffer(sizeof(SRowSet) + count * sizeof(SRow));
    return RowSetPtr(buffer.release<SRowSet>());
}

} // namespace

row_table::row_table(row_source rows, std::vector<std::uint32_t> columns)
    : rows_(std::move(rows))
    , columns_(std::move(columns))
{}

void* row_table::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IMAPITable ? static_cast<IMAPITable*>(this) : nullptr;
}

SPropValue* row_table::make_row(const property_bag& source) const
{
    mapi_buffer buffer((columns_.empty() ? 1 : columns_.size()) * sizeof(SPropValue));
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        write_value(buffer.as<SPropValue>()[i], columns_[i], cell(source, columns_[i]), buffer);
    }
    return buffer.release<SPropValue>();
}

HRESULT row_table::QueryRows(LONG count, ULONG flags, LPSRowSet* rows)
{
    return guarded([&] {
        if (!rows || count == 0) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        const std::size_t size = rows_.count();
        const std::size_t start = std::min(position_, size);
        const auto wanted = static_cast<std::size_t>(count > 0 ? count : -static_cast<std::int64_t>(count));
        // A negative count reads the rows before the position.
        const std::size_t first = count > 0 ? start : start - std::min(start, wanted);
        const std::size_t last = count > 0 ? start + std::min(wanted, size - start) : start;
        RowSetPtr result = make_rows(last - first);
        for (const auto& row : rows_.rows(first, last)) {
            SRow& target = result->aRow[result->cRows];
            target.lpProps = make_row(*row);
            target.cValues = static_cast<ULONG>(columns_.size());
            ++result->cRows;
        }
        const bool stays = (flags & TBL_NOADVANCE) != 0;
        position_ = stays ? start : count > 0 ? last : first;
        *rows = result.release();
        return HRESULT{S_OK};
    });
}

HRESULT row_table::SetColumns(LPSPropTagArray tags, ULONG)
{
    return guarded([&] {
        if (!tags || tags->cValues == 0) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        columns_.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
        return HRESULT{S_OK};
    });
}

HRESULT row_table::QueryColumns(ULONG, LPSPropTagArray* tags)
{
    return guarded([&] {
        if (!tags) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *tags = make_tag_array(columns_);
        return HRESULT{S_OK};
    });
}

HRESULT row_table::GetRowCount(ULONG, ULONG* count)
{
    return guarded([&] {
        if (!count) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        *count = static_cast<ULONG>(rows_.count());
        return HRESULT{S_OK};
    });
}

HRESULT row_table::SeekRow(BOOKMARK origin, LONG count, LONG* sought)
{
    return guarded([&] {
        const auto size = static_cast<std::int64_t>(rows_.count());
        std::int64_t base = 0;
        if (origin == BOOKMARK_CURRENT) {
            base = std::min(static_cast<std::int64_t>(position_), size);
        } else if (origin == BOOKMARK_END) {
            base = size;
        } else if (origin != BOOKMARK_BEGINNING) {
            return HRESULT{MAPI_E_NO_SUPPORT};
        }
        const std::int64_t target = std::clamp<std::int64_t>(base + count, 0, size);
        position_ = static_cast<std::size_t>(target);
        if (sought) {
            *sought = static_cast<LONG>(target - base);
        }
        return HRESULT{S_OK};
    });
}

HRESULT row_table::SeekRowApprox(ULONG numerator, ULONG denominator)
{
    return guarded([&] {
        if (denominator == 0) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        const std::uint64_t size = rows_.count();
        position_ = numerator >= denominator ? size : size * numerator / denominator;
        return HRESULT{S_OK};
    });
}

HRESULT row_table::QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator)
{
    return guarded([&] {
        if (!row || !numerator || !denominator) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        const std::size_t size = rows_.count();
        *row = static_cast<ULONG>(std::min(position_, size));
        *numerator = *row;
        *denominator = size == 0 ? 1 : static_cast<ULONG>(size);
        return HRESULT{S_OK};
    });
}

HRESULT row_table::GetStatus(ULONG* status, ULONG* type)
{
    if (!status || !type) {
        return MAPI_E_INVALID_PARAMETER;
    }
    *status = status_complete;
    *type = type_dynamic;
    return S_OK;
}

HRESULT row_table::GetLastError(HRESULT, ULONG, LPMAPIERROR* error)
{
    if (!error) {
        return MAPI_E_INVALID_PARAMETER;
    }
    *error = nullptr;
    return S_OK;
}

HRESULT row_table::WaitForCompletion(ULONG, ULONG, ULONG* status)
{
    if (status) {
        *status = status_complete;
    }
    return S_OK;
}

HRESULT row_table::Abort()
{
    return S_OK;
}

HRESULT row_table::Advise(ULONG, LPMAPIADVISESINK, ULONG*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::Unadvise(ULONG)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::FindRow(LPSRestriction, BOOKMARK, ULONG)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::Restrict(LPSRestriction restriction, ULONG)
{
    return restriction ? HRESULT{MAPI_E_NO_SUPPORT} : HRESULT{S_OK}; // null removes a restriction
}

HRESULT row_table::CreateBookmark(BOOKMARK*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::FreeBookmark(BOOKMARK)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::SortTable(LPSSortOrderSet, ULONG)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::QuerySortOrder(LPSSortOrderSet*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::ExpandRow(ULONG, LPBYTE, ULONG, ULONG, LPSRowSet*, ULONG*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::CollapseRow(ULONG, LPBYTE, ULONG, ULONG*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::GetCollapseState(ULONG, ULONG, LPBYTE, ULONG*, LPBYTE*)
{
    return MAPI_E_NO_SUPPORT;
}

HRESULT row_table::SetCollapseState(ULONG, ULONG, LPBYTE, BOOKMARK*)
{
    return MAPI_E_NO_SUPPORT;
}

} // namespace host
