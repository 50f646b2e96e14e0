#pragma once

// The message store's interfaces and records as declared in the Windows headers: same order of operations, same
// layouts. Codes and property tags are declared in separate headers.
#include <platform/com.h>
#include <platform/mapi_codes.h>
#include <platform/mapi_tags.h>

#include <cstddef>

using LPCIID = const IID*;
using LPULONG = ULONG*;

struct SPropTagArray
{
    ULONG cValues;
    ULONG aulPropTag[1];
};
using LPSPropTagArray = SPropTagArray*;

struct SBinary
{
    ULONG cb;
    LPBYTE lpb;
};

union CURRENCY {
    LONGLONG int64;
};

struct SShortArray
{
    ULONG cValues;
    short* lpi;
};
struct SLongArray
{
    ULONG cValues;
    LONG* lpl;
};
struct SRealArray
{
    ULONG cValues;
    float* lpflt;
};
struct SDoubleArray
{
    ULONG cValues;
    double* lpdbl;
};
struct SCurrencyArray
{
    ULONG cValues;
    CURRENCY* lpcur;
};
struct SAppTimeArray
{
    ULONG cValues;
    double* lpat;
};
struct SDateTimeArray
{
    ULONG cValues;
    FILETIME* lpft;
};
struct SBinaryArray
{
    ULONG cValues;
    SBinary* lpbin;
};
struct SLPSTRArray
{
    ULONG cValues;
    LPSTR* lppszA;
};
struct SWStringArray
{
    ULONG cValues;
    LPWSTR* lppszW;
};
struct SGuidArray
{
    ULONG cValues;
    GUID* lpguid;
};
struct SLargeIntegerArray
{
    ULONG cValues;
    LARGE_INTEGER* lpli;
};

union __UPV {
    short i;
    LONG l;
    ULONG ul;
    float flt;
    double dbl;
    unsigned short b;
    CURRENCY cur;
    double at;
    FILETIME ft;
    LPSTR lpszA;
    SBinary bin;
    LPWSTR lpszW;
    LPGUID lpguid;
    LARGE_INTEGER li;
    SShortArray MVi;
    SLongArray MVl;
    SRealArray MVflt;
    SDoubleArray MVdbl;
    SCurrencyArray MVcur;
    SAppTimeArray MVat;
    SDateTimeArray MVft;
    SBinaryArray MVbin;
    SLPSTRArray MVszA;
    SWStringArray MVszW;
    SGuidArray MVguid;
    SLargeIntegerArray MVli;
    SCODE err;
    LONG x;
};

struct SPropValue
{
    ULONG ulPropTag;
    ULONG dwAlignPad;
    __UPV Value;
};
using LPSPropValue = SPropValue*;

struct SPropProblem
{
    ULONG ulIndex;
    ULONG ulPropTag;
    SCODE scode;
};
struct SPropProblemArray
{
    ULONG cProblem;
    SPropProblem aProblem[1];
};
using LPSPropProblemArray = SPropProblemArray*;

struct SRow
{
    ULONG ulAdrEntryPad;
    ULONG cValues;
    LPSPropValue lpProps;
};
struct SRowSet
{
    ULONG cRows;
    SRow aRow[1];
};
using LPSRowSet = SRowSet*;

struct ADRENTRY
{
    ULONG ulReserved1;
    ULONG cValues;
    LPSPropValue rgPropVals;
};
struct ADRLIST
{
    ULONG cEntries;
    ADRENTRY aEntries[1];
};
using LPADRLIST = ADRLIST*;

struct SSortOrder
{
    ULONG ulPropTag;
    ULONG ulOrder;
};
struct SSortOrderSet
{
    ULONG cSorts;
    ULONG cCategories;
    ULONG cExpanded;
    SSortOrder aSort[1];
};
using LPSSortOrderSet = SSortOrderSet*;

struct MAPIERROR
{
    ULONG ulVersion;
    LPWSTR lpszError;
    LPWSTR lpszComponent;
    ULONG ulLowLevelError;
    ULONG ulContext;
};
using LPMAPIERROR = MAPIERROR*;

/// The name of a named property: a number or a wide string.
struct MAPINAMEID
{
    LPGUID lpguid;
    ULONG ulKind; ///< MNID_ID or MNID_STRING
    union {
        LONG lID;
        LPWSTR lpwstrName;
    } Kind;
};
using LPMAPINAMEID = MAPINAMEID*;

struct SRestriction;
struct IMAPIProgress;
struct IMAPIAdviseSink;
using LPSRestriction = SRestriction*;
using LPMAPIPROGRESS = IMAPIProgress*;
using LPMAPIADVISESINK = IMAPIAdviseSink*;
using BOOKMARK = ULONG;

inline constexpr IID IID_IMAPITable{0x00020301, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IMAPIProp{0x00020303, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IMessage{0x00020307, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IAttachment{0x00020308, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// An object with tagged properties.
struct IMAPIProp : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, LPMAPIERROR* error) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                               LPSPropValue* values) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, LPSPropTagArray* tags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                                                   LPUNKNOWN* object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(ULONG excluded, LPCIID interfaces, LPSPropTagArray exclude, ULONG ui,
                                             LPMAPIPROGRESS progress, LPCIID iid, LPVOID target, ULONG flags,
                                             LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray include, ULONG ui, LPMAPIPROGRESS progress, LPCIID iid,
                                                LPVOID target, ULONG flags, LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray* tags, LPGUID set, ULONG flags, ULONG* count,
                                                      LPMAPINAMEID** names) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                                      LPSPropTagArray* tags) = 0;

protected:
    ~IMAPIProp() = default;
};
using LPMAPIPROP = IMAPIProp*;

/// Rows of property values.
struct IMAPITable : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, LPMAPIERROR* error) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG events, LPMAPIADVISESINK sink, ULONG* connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus(ULONG* status, ULONG* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetColumns(LPSPropTagArray tags, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, LPSPropTagArray* tags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG count, LONG* sought) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG numerator, ULONG denominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindRow(LPSRestriction restriction, BOOKMARK origin, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Restrict(LPSRestriction restriction, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* position) = 0;
    virtual HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SortTable(LPSSortOrderSet order, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QuerySortOrder(LPSSortOrderSet* order) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, LPSRowSet* rows) = 0;
    virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
    virtual HRESULT STDMETHODCALLTYPE ExpandRow(ULONG key_size, LPBYTE key, ULONG count, ULONG flags, LPSRowSet* rows,
                                                ULONG* more) = 0;
    virtual HRESULT STDMETHODCALLTYPE CollapseRow(ULONG key_size, LPBYTE key, ULONG flags, ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG flags, ULONG key_size, LPBYTE key, ULONG* state_size,
                                                       LPBYTE* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG flags, ULONG state_size, LPBYTE state,
                                                       BOOKMARK* location) = 0;

protected:
    ~IMAPITable() = default;
};
using LPMAPITABLE = IMAPITable*;

/// One attachment of a message.
struct IAttach : IMAPIProp
{
protected:
    ~IAttach() = default;
};
using LPATTACH = IAttach*;

/// One message.
struct IMessage : IMAPIProp
{
    virtual HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, LPMAPITABLE* table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID iid, ULONG flags, ULONG* number, LPATTACH* attach) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG ui, LPMAPIPROGRESS progress, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, LPMAPITABLE* table) = 0;
    virtual HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, LPADRLIST changes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) = 0;

protected:
    ~IMessage() = default;
};
using LPMESSAGE = IMessage*;

// Buffers of the message store. A buffer is freed together with all buffers that were added to it. The functions are
// thread-safe; a single buffer must not be used by two threads at a time.

/// Allocates a buffer of `size` bytes. Returns MAPI_E_NOT_ENOUGH_MEMORY if memory is exhausted.
SCODE MAPIAllocateBuffer(ULONG size, LPVOID* buffer);
/// Allocates an additional buffer with the lifetime of `owner`.
SCODE MAPIAllocateMore(ULONG size, LPVOID owner, LPVOID* buffer);
/// Frees a buffer from MAPIAllocateBuffer; null is allowed. Returns 0.
ULONG MAPIFreeBuffer(LPVOID buffer);
