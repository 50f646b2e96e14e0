#include "store/storage_object.h"

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/guard.h"
#include "store/object_ledger.h"
#include "store/property_bag.h"
#include "store/property_stream.h"
#include "store/storage_codes.h"
#include "tool/system/conversions.h"

#include <utility>

namespace host {

namespace {

constexpr auto file_not_found = static_cast<HRESULT>(0x80030002U); // STG_E_FILENOTFOUND

template <typename Child>
const Child* find_child(const std::vector<Child>& children, const OLECHAR* name)
{
    const std::string wanted = winapi::conv_to_char(name, winapi::code_page_utf8);
    for (const Child& child : children) {
        if (winapi::compare_no_case(child.name, wanted) == 0) {
            return &child;
        }
    }
    return nullptr;
}

class storage_object final : public ComObject<IStorage>
{
public:
    explicit storage_object(storage_ptr storage)
        : storage_(std::move(storage))
    {}

    HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR*, DWORD, DWORD, DWORD, IStream**) override
    {
        return StorageAccessDenied;
    }
    HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* name, void*, DWORD, DWORD, IStream** stream) override
    {
        return guarded([&] {
            if (!name || !stream) {
                return StorageInvalidPointer;
            }
            *stream = nullptr;
            const auto* found = find_child(storage_->streams, name);
            if (!found) {
                return file_not_found;
            }
            auto state = std::make_shared<stream_state>(found->contents, PT_BINARY);
            *stream = make_property_stream(std::move(state), nullptr, 0, false).detach();
            return HRESULT{S_OK};
        });
    }
    HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR*, DWORD, DWORD, DWORD, IStorage**) override
    {
        return StorageAccessDenied;
    }
    HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* name, IStorage*, DWORD, SNB, DWORD,
                                          IStorage** storage) override
    {
        return guarded([&] {
            if (!name || !storage) {
                return StorageInvalidPointer;
            }
            *storage = nullptr;
            const auto* found = find_child(storage_->storages, name);
            if (!found) {
                return file_not_found;
            }
            *storage = make_storage_object(found->contents).detach();
            return HRESULT{S_OK};
        });
    }
    HRESULT STDMETHODCALLTYPE CopyTo(DWORD, const IID*, SNB, IStorage*) override { return StorageInvalidFunction; }
    HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR*, IStorage*, const OLECHAR*, DWORD) override
    {
        return StorageAccessDenied;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnumElements(DWORD, void*, DWORD, IEnumSTATSTG**) override
    {
        return StorageInvalidFunction;
    }
    HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR*) override { return StorageAccessDenied; }
    HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR*, const OLECHAR*) override { return StorageAccessDenied; }
    HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR*, const FILETIME*, const FILETIME*,
                                              const FILETIME*) override
    {
        return StorageAccessDenied;
    }
    HRESULT STDMETHODCALLTYPE SetClass(REFCLSID) override { return StorageAccessDenied; }
    HRESULT STDMETHODCALLTYPE SetStateBits(DWORD, DWORD) override { return StorageAccessDenied; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD) override
    {
        if (!stat) {
            return StorageInvalidPointer;
        }
        *stat = STATSTG{};
        stat->type = STGTY_STORAGE;
        stat->clsid = storage_->class_id;
        return S_OK;
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IStorage ? static_cast<IStorage*>(this) : nullptr;
    }

private:
    storage_ptr storage_;
    ledger_entry entry_{"IStorage", static_cast<IStorage*>(this)};
};

} // namespace

ComPtr<IStorage> make_storage_object(storage_ptr storage)
{
    return MakeCom<storage_object>(std::move(storage));
}

} // namespace host
