#pragma once

#include "client/model/addin.h"

#include <list>
#include <memory>

namespace host {

/// The add-ins that a starting mail client loads, connected until the end.
class loaded_addins
{
public:
    /// Raises addin_failure when one of them cannot be had, or when none is registered.
    explicit loaded_addins(const ComPtr<application>& client);
    loaded_addins(const loaded_addins&) = delete;
    loaded_addins& operator=(const loaded_addins&) = delete;
    /// Disconnects them in the order of their loading.
    ~loaded_addins();

    void startup_complete();

private:
    std::list<std::unique_ptr<connected_addin>> addins_;
};

} // namespace host
