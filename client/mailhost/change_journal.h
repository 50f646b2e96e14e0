#pragma once

#include "client/mailhost/registry_change.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// Records in the machine's registry what this process changes there, so that another process can restore it if this
/// one is killed. The record has a key of the process below `place`, with a numbered subkey for each change.
class change_journal
{
public:
    static constexpr std::wstring_view place = L"SOFTWARE\\postwarden\\mailhost";

    /// Restores the changes of all processes that no longer run, the last change first, and deletes their records.
    static void restore_abandoned() noexcept;

    change_journal();
    change_journal(const change_journal&) = delete;
    change_journal& operator=(const change_journal&) = delete;
    /// Deletes the record. All changes must have been restored.
    ~change_journal();

    /// Must be called before the change. Throws std::runtime_error if the system denies it.
    void add(const registry_change& change);

private:
    std::wstring key_;
    std::size_t keys_made_;
    std::size_t count_ = 0;
};

} // namespace host
