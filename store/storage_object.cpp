#include "store/storage_object.h"

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/byte_stream.h"
#include "store/guard.h"
#include "store/object_ledger.h"
#include "store/property_bag.h"
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
        return storage_access_denied;
    }
    HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* name, void*, DWORD, DWORD, IStream** stream) override
    {
        return guarded([&] {
            if (!name || !stream) {
                return storage_invalid_pointer;
            }
            *stream = nullptr;
            const auto* found = find_child(storage_->streams, name);
            if (!found) {
                return file_not_found;
            }
            auto state = std::make_shared<stream_state>(found->contents, PT_BINARY);
            *stream = make_byte_stream(std::move(state), nullptr, 0, false).detach();
            return HRESULT{S_OK};
        });
    }
    HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR*, DWORD, DWORD, DWORD, IStorage**) override
    {
        return storage_access_denied;
    }
    HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* name, IStorage*, DWORD, SNB, DWORD,
                                          IStorage** storage) override
    {
        return guarded([&] {
            if (!name || !storage) {
                return storage_invalid_pointer;
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
    HRESULT STDMETHODCALLTYPE CopyTo(DWORD, const IID*, SNB, IStorage*) override { return storage_invalid_function; }
    HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR*, IStorage*, const OLECHAR*, DWORD) override
    {
        return storage_access_denied;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnumElements(DWORD, void*, DWORD, IEnumSTATSTG**) override
    {
        return storage_invalid_function;
    }
    HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR*) override { return storage_access_denied; }
    HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR*, const OLECHAR*) override { return storage_access_denied; }
    HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR*, const FILETIME*, const FILETIME*,
                                              const FILETIME*) override
    {
        return storage_access_denied;
    }
    HRESULT STDMETHODCALLTYPE SetClass(REFCLSID) override { return storage_access_denied; }
    HRESULT STDMETHODCALLTYPE SetStateBits(DWORD, DWORD) override { return storage_access_denied; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD) override
    {
        if (!stat) {
            return storage_invalid_pointer;
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
