#pragma once

/// Keeps the add-in's module in memory during its lifetime. Every object that the mail client may hold has one as its
/// first member, so that it is destroyed last. The destruction of the last reference closes the logs and releases the
/// message store's library; afterwards the module may be unloaded at any time. May be created and destroyed on any
/// thread.
class ModuleReference
{
public:
    ModuleReference() noexcept;
    ModuleReference(const ModuleReference&) = delete;
    ModuleReference& operator=(const ModuleReference&) = delete;
    ~ModuleReference();
};

/// Adds an explicit reference for a client that calls IClassFactory::LockServer.
void LockModule() noexcept;
void UnlockModule() noexcept;

/// Returns true while at least one reference exists.
[[nodiscard]] bool ModuleInUse() noexcept;
