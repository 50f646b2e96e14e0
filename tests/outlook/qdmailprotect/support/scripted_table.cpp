#include "tests/outlook/qdmailprotect/support/scripted_table.h"

#include "store/mapi_values.h"

namespace test {

namespace {

HRESULT make_rows(const std::vector<table_row>& given, LPSRowSet* rows)
{
    host::mapi_buffer buffer(sizeof(SRowSet) + given.size() * sizeof(SRow));
    RowSetPtr made(buffer.release<SRowSet>());
    for (const table_row& row : given) {
        host::mapi_buffer values((row.size() + 1) * sizeof(SPropValue));
        for (std::size_t i = 0; i < row.size(); ++i) {
            write_value(values.as<SPropValue>()[i], row[i].first, row[i].second, values);
        }
        made->aRow[made->cRows++] = {0, static_cast<ULONG>(row.size()), values.release<SPropValue>()};
    }
    *rows = made.release();
    return S_OK;
}

SPropValue* find_column(const SRow& row, ULONG tag)
{
    for (ULONG i = 0; i < row.cValues; ++i) {
        if (row.lpProps[i].ulPropTag == tag) {
            return &row.lpProps[i];
        }
    }
    return nullptr;
}

} // namespace

HRESULT STDMETHODCALLTYPE scripted_table::SetColumns(LPSPropTagArray tags, ULONG flags)
{
    return run("SetColumns", [&] { return inner_->SetColumns(tags, flags); });
}

HRESULT STDMETHODCALLTYPE scripted_table::QueryRows(LONG count, ULONG flags, LPSRowSet* rows)
{
    *rows = nullptr;
    return run("QueryRows " + std::to_string(count) + " " + std::to_string(flags), [&] {
        if (store_.rows()) {
            return make_rows(*store_.rows(), rows);
        }
        const HRESULT result = inner_->QueryRows(count, flags, rows);
        if (SUCCEEDED(result)) {
            claim_sizes(**rows);
        }
        return result;
    });
}

void scripted_table::claim_sizes(SRowSet& rows) const
{
    for (ULONG i = 0; i < rows.cRows; ++i) {
        const SPropValue* number = find_column(rows.aRow[i], PR_ATTACH_NUM);
        SPropValue* size = find_column(rows.aRow[i], PR_ATTACH_SIZE);
        if (number && size) {
            const auto claimed = store_.claimed_size("attach" + std::to_string(number->Value.ul));
            size->Value.ul = claimed ? static_cast<ULONG>(*claimed) : size->Value.ul;
        }
    }
}

} // namespace test
