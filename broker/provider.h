#pragma once

#include "broker/settings_object.h"
#include "outlook/qdmailprotect/com/module_lifetime.h"

namespace broker {

/// The product's broker: returns the settings of the file that the machine's registry specifies. All objects of a
/// process share the settings that were read last, which keep the module in memory.
class provider final : public settings_object
{
public:
    provider();

private:
    ModuleReference module_;
};

} // namespace broker
