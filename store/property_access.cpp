#include "store/property_access.h"

#include "store/guard.h"
#include "store/mapi_values.h"
#include "store/property_stream.h"

#include <cstring>
#include <utility>

namespace host {

namespace {

constexpr std::uint32_t known_get_flags = MAPI_UNICODE;
// Values of the flags of GetNamesFromIDs and GetIDsFromNames.
constexpr std::uint32_t no_strings = 1; // MAPI_NO_STRINGS
constexpr std::uint32_t no_ids = 2;     // MAPI_NO_IDS
constexpr std::uint32_t first_named_id = 0x8000;

/// Collects the problems of an operation that continues after a failure.
class problem_list
{
public:
    void add(ULONG index, ULONG tag, HRESULT code) { problems_.push_back({index, tag, code}); }
    void hand_out(SPropProblemArray** out) const
    {
        if (!out) {
            return;
        }
        *out = nullptr;
        if (problems_.empty()) {
            return;
        }
        mapi_buffer buffer(sizeof(SPropProblemArray) + problems_.size() * sizeof(SPropProblem));
        auto* array = buffer.as<SPropProblemArray>();
        array->cProblem = static_cast<ULONG>(problems_.size());
        for (std::size_t i = 0; i < problems_.size(); ++i) {
            array->aProblem[i] = problems_[i];
        }
        *out = buffer.release<SPropProblemArray>();
    }

private:
    std::vector<SPropProblem> problems_;
};

property_name name_of(const MAPINAMEID& source)
{
    property_name result{*source.lpguid, {}};
    if (source.ulKind == MNID_STRING) {
        result.name = std::wstring(source.Kind.lpwstrName);
    } else {
        result.name = static_cast<std::int32_t>(source.Kind.lID);
    }
    return result;
}

bool is_valid(const MAPINAMEID* source)
{
    return source && source->lpguid &&
           (source->ulKind == MNID_ID || (source->ulKind == MNID_STRING && source->Kind.lpwstrName));
}

MAPINAMEID* write_name(const property_name& name, mapi_buffer& owner)
{
    auto* target = static_cast<MAPINAMEID*>(owner.more(sizeof(MAPINAMEID)));
    target->lpguid = static_cast<GUID*>(owner.more(sizeof(GUID)));
    *target->lpguid = name.set;
    if (const auto* text = std::get_if<std::wstring>(&name.name)) {
        target->ulKind = MNID_STRING;
        target->Kind.lpwstrName = static_cast<wchar_t*>(owner.more((text->size() + 1) * sizeof(wchar_t)));
        std::memcpy(target->Kind.lpwstrName, text->data(), text->size() * sizeof(wchar_t));
    } else {
        target->ulKind = MNID_ID;
        target->Kind.lID = std::get<std::int32_t>(name.name);
    }
    return target;
}

std::uint32_t string_type(std::uint32_t stored, bool unicode)
{
    return !is_string(stored) ? stored : unicode ? std::uint32_t{PT_UNICODE} : std::uint32_t{PT_STRING8};
}

} // namespace

bool may_write(const store_context& store, ULONG flags)
{
    return store.rules.generous || (flags & (MAPI_MODIFY | MAPI_BEST_ACCESS)) != 0;
}

property_access::property_access(std::shared_ptr<store_context> store, std::shared_ptr<property_bag> bag, bool writable)
    : store_(std::move(store))
    , bag_(std::move(bag))
    , writable_(writable)
{}

property_value property_access::value_for(std::uint32_t tag, bool unicode) const
{
    const std::uint32_t wanted = PROP_TYPE(tag);
    const auto derived = computed(PROP_ID(tag));
    const property_value* found = derived ? &*derived : bag_->find(PROP_ID(tag));
    if (!found) {
        return property_value::of_error(MAPI_E_NOT_FOUND);
    }
    const std::uint32_t type = wanted == PT_UNSPECIFIED ? string_type(found->type, unicode) : wanted;
    const bool converts = is_string(type) && is_string(found->type);
    if (type != found->type && !converts) {
        return property_value::of_error(MAPI_E_NOT_FOUND);
    }
    if (found->type == PT_OBJECT || found->size() > store_->rules.large_value) {
        return property_value::of_error(MAPI_E_NOT_ENOUGH_MEMORY);
    }
    return converts ? convert_string(*found, type) : *found;
}

std::vector<std::uint32_t> property_access::all_tags(bool unicode) const
{
    std::vector<std::uint32_t> result;
    for (const std::uint32_t id : computed_ids()) {
        if (const auto value = computed(id)) {
            result.push_back(PROP_TAG(value->type, id));
        }
    }
    for (const std::uint32_t tag : bag_->tags()) {
        if (!computed(PROP_ID(tag))) {
            result.push_back(CHANGE_PROP_TYPE(tag, string_type(PROP_TYPE(tag), unicode)));
        }
    }
    return result;
}

HRESULT property_access::get_props(const SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) const
{
    return guarded([&] {
        if (!count || !values || (tags && tags->cValues == 0)) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if ((flags & ~known_get_flags) != 0) {
            return HRESULT{MAPI_E_UNKNOWN_FLAGS};
        }
        const bool unicode = (flags & MAPI_UNICODE) != 0;
        const std::vector<std::uint32_t> all = tags ? std::vector<std::uint32_t>() : all_tags(unicode);
        const std::size_t size = tags ? tags->cValues : all.size();
        mapi_buffer buffer((size == 0 ? 1 : size) * sizeof(SPropValue));
        HRESULT result = S_OK;
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint32_t tag = tags ? tags->aulPropTag[i] : all[i];
            const property_value value = value_for(tag, unicode);
            write_value(buffer.as<SPropValue>()[i], tag, value, buffer);
            if (value.type == PT_ERROR) {
                result = MAPI_W_ERRORS_RETURNED;
            }
        }
        *count = static_cast<ULONG>(size);
        *values = buffer.release<SPropValue>();
        return result;
    });
}

HRESULT property_access::get_prop_list(ULONG flags, SPropTagArray** tags) const
{
    return guarded([&] {
        if (!tags) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if ((flags & ~known_get_flags) != 0) {
            return HRESULT{MAPI_E_UNKNOWN_FLAGS};
        }
        *tags = make_tag_array(all_tags((flags & MAPI_UNICODE) != 0));
        return HRESULT{S_OK};
    });
}

HRESULT property_access::create_stream(ULONG tag, bool writing, IUnknown** stream)
{
    const std::uint32_t id = PROP_ID(tag);
    const std::uint32_t type = PROP_TYPE(tag);
    const property_value* value = bag_->find(id);
    const property_value shown = is_string(type) ? convert_string(*value, type) : *value;
    auto state = std::make_shared<stream_state>(stream_bytes(shown), type);
    *stream = make_property_stream(std::move(state), bag_, id, writing).detach();
    return S_OK;
}

HRESULT property_access::open_stream(ULONG tag, ULONG flags, IUnknown** stream)
{
    return guarded([&] {
        const std::uint32_t type = PROP_TYPE(tag);
        const bool modify = (flags & MAPI_MODIFY) != 0;
        if (!is_streamed(type)) {
            return HRESULT{MAPI_E_INTERFACE_NOT_SUPPORTED};
        }
        if (computed(PROP_ID(tag))) { // only numbers and objects are computed: no stream is available
            return HRESULT{MAPI_E_NOT_FOUND};
        }
        if ((flags & MAPI_CREATE) != 0 && !modify) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if (modify && !writable_) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        if ((flags & MAPI_CREATE) != 0) { // the previous contents are discarded
            bag_->set(tag, from_stream_bytes(type, bytes_of({})));
        }
        const property_value* value = bag_->find(PROP_ID(tag));
        if (!value || (value->type != type && !(is_string(type) && is_string(value->type)))) {
            return HRESULT{MAPI_E_NOT_FOUND};
        }
        return create_stream(tag, writable_ && (modify || store_->rules.generous), stream);
    });
}

HRESULT property_access::set_props(ULONG count, const SPropValue* values, SPropProblemArray** problems)
{
    return guarded([&] {
        if (count == 0 || !values) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if (!writable_) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        problem_list found;
        for (ULONG i = 0; i < count; ++i) {
            const ULONG tag = values[i].ulPropTag;
            const std::uint32_t type = PROP_TYPE(tag);
            property_value value;
            if (type == PT_NULL || type == PT_ERROR) {
                continue; // these denote no value: nothing is set, and it is not a problem
            }
            if (computed(PROP_ID(tag))) {
                found.add(i, tag, MAPI_E_COMPUTED);
            } else if (!read_value(values[i], value)) {
                found.add(i, tag, MAPI_E_UNEXPECTED_TYPE);
            } else {
                bag_->set(tag, std::move(value));
            }
        }
        found.hand_out(problems);
        return HRESULT{S_OK};
    });
}

HRESULT property_access::delete_props(const SPropTagArray* tags, SPropProblemArray** problems)
{
    return guarded([&] {
        if (!tags || tags->cValues == 0) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if (!writable_) {
            return HRESULT{MAPI_E_NO_ACCESS};
        }
        problem_list found;
        for (ULONG i = 0; i < tags->cValues; ++i) {
            const ULONG tag = tags->aulPropTag[i];
            if (computed(PROP_ID(tag))) {
                found.add(i, tag, MAPI_E_COMPUTED);
            } else if (!bag_->erase(PROP_ID(tag))) {
                found.add(i, tag, MAPI_E_NOT_FOUND);
            }
        }
        found.hand_out(problems);
        return HRESULT{S_OK};
    });
}

HRESULT property_access::get_names_from_ids(SPropTagArray** tags, const GUID* set, ULONG flags, ULONG* count,
                                            MAPINAMEID*** names) const
{
    return guarded([&] {
        if (!tags || !count || !names) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        const bool all = *tags == nullptr;
        std::vector<std::uint32_t> ids;
        if (all) {
            ids = store_->names.ids();
        } else {
            for (ULONG i = 0; i < (*tags)->cValues; ++i) {
                ids.push_back(PROP_ID((*tags)->aulPropTag[i]));
            }
        }
        HRESULT result = S_OK;
        std::vector<const property_name*> found;
        std::vector<std::uint32_t> kept;
        for (const std::uint32_t id : ids) {
            const property_name* name = id < first_named_id ? nullptr : store_->names.name_of(id);
            const bool number = name && std::holds_alternative<std::int32_t>(name->name);
            const bool excluded = name && ((set && !(name->set == *set)) || (number && (flags & no_ids) != 0) ||
                                           (!number && (flags & no_strings) != 0));
            if (all && excluded) {
                continue;
            }
            if (!name || excluded) {
                name = nullptr;
                result = MAPI_W_ERRORS_RETURNED;
            }
            found.push_back(name);
            kept.push_back(PROP_TAG(PT_UNSPECIFIED, id));
        }
        mapi_buffer buffer((found.empty() ? 1 : found.size()) * sizeof(MAPINAMEID*));
        for (std::size_t i = 0; i < found.size(); ++i) {
            buffer.as<MAPINAMEID*>()[i] = found[i] ? write_name(*found[i], buffer) : nullptr;
        }
        if (all) {
            *tags = make_tag_array(kept);
        }
        *count = static_cast<ULONG>(found.size());
        *names = buffer.release<MAPINAMEID*>();
        return result;
    });
}

HRESULT property_access::get_ids_from_names(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) const
{
    return guarded([&] {
        if (!tags || (count != 0 && !names)) {
            return HRESULT{MAPI_E_INVALID_PARAMETER};
        }
        if ((flags & ~ULONG{MAPI_CREATE}) != 0) {
            return HRESULT{MAPI_E_UNKNOWN_FLAGS};
        }
        std::vector<std::uint32_t> found;
        if (count == 0) {
            for (const std::uint32_t id : store_->names.ids()) {
                found.push_back(PROP_TAG(PT_UNSPECIFIED, id));
            }
        }
        HRESULT result = S_OK;
        for (ULONG i = 0; i < count; ++i) {
            const std::uint32_t id =
                is_valid(names[i]) ? store_->names.id_of(name_of(*names[i]), (flags & MAPI_CREATE) != 0) : 0;
            if (id == 0) {
                result = MAPI_W_ERRORS_RETURNED;
            }
            found.push_back(PROP_TAG(id == 0 ? PT_ERROR : PT_UNSPECIFIED, id));
        }
        *tags = make_tag_array(found);
        return result;
    });
}

} // namespace host
