#include "tests/outlook/qdmailprotect/support/scripted_store.h"

#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <iterator>

namespace test {

std::string hex_text(ULONG number)
{
    const std::string digits = winapi::hex32(number);
    return std::string(8 - digits.size(), '0') + digits;
}

std::string interface_text(REFIID iid)
{
    static const std::pair<IID, const char*> names[] = {
        {IID_IUnknown, "IUnknown"},
        {IID_IStream, "IStream"},
        {IID_IStorage, "IStorage"},
        {IID_IMessage, "IMessage"},
        {IID_ISecuredMessage, "ISecuredMessage"},
        {IID_MailItem, "MailItem"},
    };
    for (const auto& [known, name] : names) {
        if (iid == known) {
            return name;
        }
    }
    return "other";
}

void scripted_store::refuse_each_way(const std::string& start, HRESULT failure,
                                     const std::function<void(HRESULT result)>& check)
{
    for (const outcome way : {outcome{failure, false}, outcome{S_OK, false}, outcome{failure, true}}) {
        scripts_.push_back({start, way, 0});
        check(way.result);
        scripts_.pop_back();
    }
}

void scripted_store::answer(ULONG property, ULONG tag, ULONG number)
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.ul = number;
    answers_[property] = value;
}

std::optional<scripted_store::outcome> scripted_store::enter(const std::string& operation)
{
    calls_.push_back(operation);
    if (watch_) {
        watch_(operation);
    }
    std::optional<outcome> found;
    for (auto entry = scripts_.begin(); entry != scripts_.end();) {
        if (!operation.starts_with(entry->start)) {
            ++entry;
            continue;
        }
        if (entry->countdown <= 1) {
            found = entry->what;
        }
        const bool spent = entry->countdown == 1;
        entry->countdown -= entry->countdown == 0 ? 0 : 1;
        entry = spent ? scripts_.erase(entry) : std::next(entry);
    }
    return found;
}

const SPropValue* scripted_store::answer_to(ULONG property) const
{
    const auto found = answers_.find(property);
    return found == answers_.end() ? nullptr : &found->second;
}

std::optional<std::uint64_t> scripted_store::claimed_size(const std::string& name) const
{
    const auto found = sizes_.find(name);
    return found == sizes_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> scripted_store::calls(const std::string& start) const
{
    std::vector<std::string> found;
    std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(found),
                 [&](const std::string& call) { return call.starts_with(start); });
    return found;
}

void scripted_store::clear()
{
    calls_.clear();
    watch_ = nullptr;
    scripts_.clear();
    answers_.clear();
    rows_.reset();
    sizes_.clear();
    refuses_names_ = false;
}

} // namespace test
