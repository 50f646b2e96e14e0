#pragma once

#include "client/model/addin.h"

#include <list>
#include <memory>

namespace host {

/// The add-ins that a mail client loads when it starts. They stay connected for the lifetime of the object.
class loaded_addins
{
public:
    /// Throws addin_failure if an add-in is not available or none is registered.
    explicit loaded_addins(const ComPtr<application>& client);
    loaded_addins(const loaded_addins&) = delete;
    loaded_addins& operator=(const loaded_addins&) = delete;
    /// Disconnects the add-ins in the order in which they were loaded.
    ~loaded_addins();

    void startup_complete();

private:
    std::list<std::unique_ptr<connected_addin>> addins_;
};

} // namespace host
