#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/outlook_bases.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A small scripted message store. It implements the real interfaces of the platform, counts its objects, records its
/// calls, and can return a given result from any call of an operation.
namespace test {

/// The state that all objects of one test share. Must outlive them.
class fake_store
{
public:
    fake_store() = default;
    fake_store(const fake_store&) = delete;
    fake_store& operator=(const fake_store&) = delete;

    /// Makes the n-th call of `operation` from now on return `result` and do nothing; S_OK means success without an
    /// object.
    void script(const std::string& operation, HRESULT result, int nth = 1);
    /// Makes all calls of `operation` from now on return `result`.
    void script_all(const std::string& operation, HRESULT result) { always_[operation] = result; }

    /// Records a call; returns true if the call is scripted, with its `result`.
    bool scripted(const std::string& operation, HRESULT& result);
    /// Returns the number of calls of an operation.
    [[nodiscard]] int calls(const std::string& operation) const;

    /// Returns the property identifier of a name, which is created at its first use.
    ULONG identifier(const MAPINAMEID& name);
    /// Returns the tag of the verdict property if its name has been resolved, otherwise 0.
    [[nodiscard]] ULONG verdict_tag() const;
    /// Returns the requested names as "{first GUID field}:number" or "{first GUID field}:text".
    [[nodiscard]] const std::vector<std::string>& names() const noexcept { return name_order_; }
    [[nodiscard]] const std::vector<ULONG>& name_flags() const noexcept { return name_flags_; }
    void note_name_flags(ULONG flags) { name_flags_.push_back(flags); }

    int alive = 0; ///< existing objects of the store

private:
    std::map<std::string, int> calls_;
    std::map<std::pair<std::string, int>, HRESULT> script_;
    std::map<std::string, HRESULT> always_;
    std::map<std::string, ULONG> names_;
    std::vector<std::string> name_order_;
    std::vector<ULONG> name_flags_;
};

/// Counts one object of the store.
class counted
{
public:
    explicit counted(fake_store& store)
        : store_(store)
    {
        ++store_.alive;
    }
    counted(const counted&) = delete;
    counted& operator=(const counted&) = delete;
    ~counted() { --store_.alive; }

protected:
    fake_store& store_;
};

/// One property value.
struct fake_value
{
    ULONG tag = 0;            ///< the type that a read returns
    std::uint64_t number = 0; ///< long, bool, time, error code
    std::wstring wide{};
    std::shared_ptr<std::string> bytes{}; ///< narrow text or binary; streams operate on it
    ComPtr<IUnknown> object{};            ///< the object that OpenProperty returns
};

/// Fills `out` from `value`; memory that it refers to is allocated from `owner`, a store buffer.
void fill(SPropValue& out, const fake_value& value, void* owner);

/// Properties by identifier.
class fake_properties
{
public:
    void set_long(ULONG tag, std::uint32_t value) { at(tag).number = value; }
    void set_time(ULONG tag, std::uint64_t file_time) { at(tag).number = file_time; }
    void set_wide(ULONG tag, std::wstring value) { at(tag).wide = std::move(value); }
    /// Sets narrow text or bytes, for reads and for streams.
    void set_bytes(ULONG tag, std::string value) { at(tag).bytes = std::make_shared<std::string>(std::move(value)); }
    /// Sets bytes that a read rejects as too large and only a stream returns.
    void set_big_bytes(ULONG tag, std::string value);
    void set_object(ULONG tag, ComPtr<IUnknown> object) { at(tag).object = std::move(object); }
    /// Makes reads of `tag` return `code`.
    void set_error(ULONG tag, SCODE code) { errors_[PROP_ID(tag)] = code; }
    /// Makes reads of `tag` return another property, including its tag.
    void redirect(ULONG tag, ULONG other) { redirected_[PROP_ID(tag)] = other; }
    void remove(ULONG tag) { values_.erase(PROP_ID(tag)); }

    [[nodiscard]] fake_value* find(ULONG tag);
    /// Returns the result of a read: a value, or PT_ERROR.
    [[nodiscard]] fake_value read(ULONG tag);
    void write(const SPropValue& value);

private:
    fake_value& at(ULONG tag);
    std::map<ULONG, fake_value> values_;
    std::map<ULONG, SCODE> errors_;
    std::map<ULONG, ULONG> redirected_;
};

/// A stream over shared bytes. Operations are scripted by names such as "Stream.Read".
class fake_stream final : public ComObject<IStream>, private counted
{
public:
    fake_stream(fake_store& store, std::shared_ptr<std::string> bytes)
        : counted(store)
        , bytes_(std::move(bytes))
    {}

    /// Sets the size that Stat returns instead of the real one.
    void claim_size(std::uint64_t size) { claimed_ = size; }
    void claim_no_size() { claimed_ = ~std::uint64_t{0}; }
    [[nodiscard]] const std::vector<ULONG>& read_counts() const noexcept { return read_counts_; }
    [[nodiscard]] const std::vector<std::pair<LONGLONG, DWORD>>& seeks() const noexcept { return seeks_; }
    [[nodiscard]] DWORD stat_flags() const noexcept { return stat_flags_; }

    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) override;
    HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    std::shared_ptr<std::string> bytes_;
    std::uint64_t position_ = 0;
    std::uint64_t claimed_ = ~std::uint64_t{0};
    std::vector<ULONG> read_counts_;
    std::vector<std::pair<LONGLONG, DWORD>> seeks_;
    DWORD stat_flags_ = 0xFFFFFFFFU;
};

/// An object that implements only IUnknown, or additionally claims one more identifier without implementing it.
class fake_object final : public ComObject<IUnknown>, private counted
{
public:
    explicit fake_object(fake_store& store, const IID& also = IID_IUnknown)
        : counted(store)
        , also_(also)
    {}

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == also_ ? static_cast<IUnknown*>(this) : nullptr;
    }

private:
    IID also_;
};

/// IMAPIProp over fake_properties. Operations are scripted as "GetProps", "SetProps", ... after a prefix.
template <typename... Interfaces>
class fake_prop : public ComObject<Interfaces...>, protected counted
{
public:
    fake_properties properties;
    /// Tags of the written properties, in order.
    std::vector<ULONG> written;

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override { return plain("SaveChanges"); }
    HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count, LPSPropValue* values) override;
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG, LPSPropTagArray*) override { return E_NOTIMPL; }
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
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*, LPMAPINAMEID**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                              LPSPropTagArray* tags) override;

    /// The flags of the last GetProps and the options and flags of the last OpenProperty.
    ULONG get_flags = 0;
    ULONG open_options = ~ULONG{0};
    ULONG open_flags = ~ULONG{0};

protected:
    explicit fake_prop(fake_store& store, std::string prefix = {})
        : counted(store)
        , prefix_(std::move(prefix))
    {}
    HRESULT plain(const std::string& operation)
    {
        HRESULT result = S_OK;
        store_.scripted(prefix_ + operation, result);
        return result;
    }
    bool scripted(const std::string& operation, HRESULT& result)
    {
        return store_.scripted(prefix_ + operation, result);
    }

private:
    std::string prefix_;
};

/// An attachment; its operations are scripted with the prefix "Attach.".
class fake_attach final : public fake_prop<IAttach>
{
public:
    explicit fake_attach(fake_store& store)
        : fake_prop(store, "Attach.")
    {}

protected:
    void* FindInterface(REFIID iid) override;
};

/// A table over given rows; "QueryRows" can be scripted.
class fake_table final : public ComObject<IMAPITable>, private counted
{
public:
    fake_table(fake_store& store, std::vector<std::vector<fake_value>> rows)
        : counted(store)
        , rows_(std::move(rows))
    {}
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, LPMAPIADVISESINK, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetColumns(LPSPropTagArray, ULONG) override { return E_NOTIMPL; }
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
    std::vector<std::vector<fake_value>> rows_;
};

/// A row of an attachment table; empty fields are omitted.
struct fake_row
{
    std::uint32_t number = 0;
    std::uint32_t size = 0;
    std::uint32_t method = 1;
    std::wstring display_name{};
    std::wstring long_name{};
    std::wstring short_name{};
    std::wstring mime_tag{};
};

/// A message, which may be the wrapper of an encrypted one.
class fake_message final : public fake_prop<IMessage, ISecuredMessage>
{
public:
    explicit fake_message(fake_store& store)
        : fake_prop(store)
    {}

    /// Makes the message implement ISecuredMessage and return `base`, which may be null, as the base message.
    void wrap(ComPtr<fake_message> base)
    {
        secured_ = true;
        base_ = std::move(base);
    }
    /// Adds a row, and the attachment that OpenAttach returns for its number.
    ComPtr<fake_attach> attach(const fake_row& row);
    /// Adds a row as given, without an attachment for it.
    void add_row(std::vector<fake_value> row) { rows_.push_back(std::move(row)); }
    [[nodiscard]] IMessage* pointer() noexcept { return this; }
    /// Returns a reference for a callee that releases it.
    [[nodiscard]] ComPtr<IMessage> reference() noexcept { return ComPtr<IMessage>(static_cast<IMessage*>(this)); }
    [[nodiscard]] const std::vector<ULONG>& opened() const noexcept { return opened_; }

    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, LPMAPITABLE* table) override;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach) override;
    HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID, ULONG, ULONG*, LPATTACH*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG, ULONG, LPMAPIPROGRESS, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG, LPMAPITABLE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG, LPADRLIST) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE Unused4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetBaseMessage(IMessage** base) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    bool secured_ = false;
    ComPtr<fake_message> base_;
    std::vector<std::vector<fake_value>> rows_;
    std::map<ULONG, ComPtr<fake_attach>> attachments_;
    std::vector<ULONG> opened_;
};

/// An item of the mail client over an object; "get_MAPIOBJECT" can be scripted.
class fake_item final : public OutlookItemBase, private counted
{
public:
    fake_item(fake_store& store, const IID& kind, ComPtr<IUnknown> object)
        : OutlookItemBase(kind)
        , counted(store)
        , object_(std::move(object))
    {}
    [[nodiscard]] ComPtr<IUnknown> reference() noexcept
    {
        return ComPtr<IUnknown>(static_cast<OutlookItemInterface*>(this));
    }

protected:
    HRESULT MapiObject(IUnknown** object) override;

private:
    ComPtr<IUnknown> object_;
};

/// Returns the object as IUnknown.
inline ComPtr<IUnknown> identity(const ComPtr<fake_message>& message)
{
    return ComPtr<IUnknown>(static_cast<IMessage*>(message.get()));
}

} // namespace test
