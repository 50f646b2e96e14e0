#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace host {

/// Tracks which COM objects of the host exist, so that objects that a client failed to release can be reported by their
/// kind. Switched off initially; records nothing in that state. Thread-safe.
class object_ledger
{
public:
    /// One existing object.
    struct entry
    {
        std::string kind;
        ULONG references = 0; ///< 0 if only the object itself knows it
    };

    static object_ledger& of_process();

    /// Specifies whether objects created from now on are recorded.
    void switch_on(bool on);
    /// Returns the existing objects, ordered by kind. No other thread may release one meanwhile.
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

/// The entry of one object: a member of its class, with the same lifetime.
class ledger_entry
{
public:
    /// `kind` must outlive the entry; `object` may be null.
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
