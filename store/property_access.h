#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/message_record.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace host {

/// The property operations of one open object of any kind: the contract of IMAPIProp, implemented on a property bag.
/// Throws only if memory is exhausted.
class property_access
{
public:
    /// `store` and `bag` are those of the open object.
    property_access(std::shared_ptr<store_context> store, std::shared_ptr<property_bag> bag, bool writable);
    virtual ~property_access() = default;

    [[nodiscard]] property_bag& bag() const noexcept { return *bag_; }
    [[nodiscard]] const std::shared_ptr<property_bag>& shared_bag() const noexcept { return bag_; }
    [[nodiscard]] const std::shared_ptr<store_context>& store() const noexcept { return store_; }
    [[nodiscard]] bool writable() const noexcept { return writable_; }
    void writable(bool allowed) noexcept { writable_ = allowed; }

    HRESULT get_props(const SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) const;
    HRESULT get_prop_list(ULONG flags, SPropTagArray** tags) const;
    /// Opens a stream. Objects within an object are opened by the derived class.
    HRESULT open_stream(ULONG tag, ULONG flags, IUnknown** stream);
    HRESULT set_props(ULONG count, const SPropValue* values, SPropProblemArray** problems);
    HRESULT delete_props(const SPropTagArray* tags, SPropProblemArray** problems);
    HRESULT get_names_from_ids(SPropTagArray** tags, const GUID* set, ULONG flags, ULONG* count,
                               MAPINAMEID*** names) const;
    HRESULT get_ids_from_names(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) const;

protected:
    /// Returns the value of a property that is derived from others and cannot be set; empty if `id` is no such
    /// property.
    [[nodiscard]] virtual std::optional<property_value> computed(std::uint32_t id) const = 0;
    /// Returns the identifiers that computed() supports.
    [[nodiscard]] virtual std::vector<std::uint32_t> computed_ids() const = 0;

private:
    [[nodiscard]] property_value value_for(std::uint32_t tag, bool unicode) const;
    [[nodiscard]] std::vector<std::uint32_t> all_tags(bool unicode) const;
    HRESULT create_stream(ULONG tag, bool writing, IUnknown** stream);

    std::shared_ptr<store_context> store_;
    std::shared_ptr<property_bag> bag_;
    bool writable_;
};

/// Returns true if an object that was opened with these flags may be modified.
bool may_write(const store_context& store, ULONG flags);

/// Implements IMAPIProp for an object class: forwards to a property_access that the class supplies.
template <typename Interface>
class property_object : public ComObject<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR* error) override
    {
        if (!error) {
            return MAPI_E_INVALID_PARAMETER;
        }
        *error = nullptr; // the codes have no further details
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count, LPSPropValue* values) override
    {
        return access().get_props(tags, flags, count, values);
    }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, LPSPropTagArray* tags) override
    {
        return access().get_prop_list(flags, tags);
    }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, LPCIID iid, ULONG, ULONG flags, LPUNKNOWN* object) override
    {
        if (!iid || !object) {
            return MAPI_E_INVALID_PARAMETER;
        }
        *object = nullptr;
        return *iid == IID_IStream ? access().open_stream(tag, flags, object) : open_object(tag, *iid, flags, object);
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) override
    {
        return access().set_props(count, values, problems);
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) override
    {
        return access().delete_props(tags, problems);
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                     LPSPropProblemArray*) override
    {
        return MAPI_E_NO_SUPPORT;
    }
    HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                        LPSPropProblemArray*) override
    {
        return MAPI_E_NO_SUPPORT;
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray* tags, LPGUID set, ULONG flags, ULONG* count,
                                              LPMAPINAMEID** names) override
    {
        return access().get_names_from_ids(tags, set, flags, count, names);
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                              LPSPropTagArray* tags) override
    {
        return access().get_ids_from_names(count, names, flags, tags);
    }

protected:
    virtual property_access& access() = 0;
    /// Implements OpenProperty for an interface other than IStream.
    virtual HRESULT open_object(ULONG tag, REFIID iid, ULONG flags, IUnknown** object) = 0;
};

} // namespace host
