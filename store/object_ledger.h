#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace host {

/// Knows which of the host's COM objects are alive, so that what a client forgot to release can be told by its kind.
/// Keeps nothing while it is switched off, as it is at first. Any thread may call.
class object_ledger
{
public:
    /// One object that is alive.
    struct entry
    {
        std::string kind;
        ULONG references = 0; ///< 0 where only the object itself is known
    };

    static object_ledger& of_process();

    /// Objects made from now on are entered, or no longer.
    void switch_on(bool on);
    /// The objects that are alive, by kind. No other thread may release one meanwhile.
    [[nodiscard]] std::vector<entry> alive() const;

private:
    friend class ledger_entry;
    bool add(const void* owner, const char* kind, IUnknown* object);
    void remove(const void* owner) noexcept;

    struct known
    {
        const char* kind;
        IUnknown* identity;
    };
    mutable std::mutex lock_;
    std::map<const void*, known> objects_;
    bool on_ = false;
};

/// The entry of one object: a member of its class, made and ended with it.
class ledger_entry
{
public:
    /// `kind` outlives the entry; `object` may be null.
    ledger_entry(const char* kind, IUnknown* object)
        : entered_(object_ledger::of_process().add(this, kind, object))
    {}
    ledger_entry(const ledger_entry&) = delete;
    ledger_entry& operator=(const ledger_entry&) = delete;
    ~ledger_entry()
    {
        if (entered_) {
            object_ledger::of_process().remove(this);
        }
    }

private:
    bool entered_;
};

} // namespace host
