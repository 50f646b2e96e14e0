#include "store/object_ledger.h"

#include <algorithm>

namespace host {

object_ledger& object_ledger::of_process()
{
    static object_ledger ledger;
    return ledger;
}

void object_ledger::switch_on(bool on)
{
    const std::lock_guard guard(lock_);
    on_ = on;
}

bool object_ledger::add(const void* owner, const char* kind, IUnknown* object)
{
    const std::lock_guard guard(lock_);
    if (on_) {
        objects_.emplace(owner, known{kind, object});
    }
    return on_;
}

void object_ledger::remove(const void* owner) noexcept
{
    const std::lock_guard guard(lock_);
    objects_.erase(owner);
}

std::vector<object_ledger::entry> object_ledger::alive() const
{
    const std::lock_guard guard(lock_);
    std::vector<entry> result;
    for (const auto& [owner, found] : objects_) {
        ULONG references = 0;
        if (found.identity) {
            found.identity->AddRef();
            references = found.identity->Release();
        }
        result.push_back({found.kind, references});
    }
    std::sort(result.begin(), result.end(), [](const entry& a, const entry& b) { return a.kind < b.kind; });
    return result;
}

} // namespace host
