#pragma once

/// Keeps the add-in's module in memory while it lives. Every object that the mail client may hold has one as its first
/// member, so that it ends last. With the last one the logs are closed and the message store's library is let go; when
/// it has gone, the module can be unloaded at any moment. May be made and destroyed on any thread.
class ModuleReference
{
public:
    ModuleReference() noexcept;
    ModuleReference(const ModuleReference&) = delete;
    ModuleReference& operator=(const ModuleReference&) = delete;
    ~ModuleReference();
};

/// The same for a client that asks in so many words (IClassFactory::LockServer).
void LockModule() noexcept;
void UnlockModule() noexcept;

/// True while something keeps the module.
[[nodiscard]] bool ModuleInUse() noexcept;
