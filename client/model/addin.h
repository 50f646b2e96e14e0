#pragma once

#include "client/model/addin_interface.h"
#include "client/model/application.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

#include <stdexcept>
#include <string>

namespace host {

/// An add-in that cannot be loaded or that refuses to be connected.
class addin_failure : public std::runtime_error
{
public:
    addin_failure(const std::string& what, HRESULT result)
        : std::runtime_error(what)
        , result_(result)
    {}
    [[nodiscard]] HRESULT result() const noexcept { return result_; }

private:
    HRESULT result_;
};

/// Creates the object of an add-in's class, using the registration for the machine, or else that for the current user,
/// whose module is then loaded by its path. Throws addin_failure.
ComPtr<addin_interface> create_addin(const std::wstring& prog_id);

/// An add-in between OnConnection and OnDisconnection.
class connected_addin
{
public:
    /// Connects the add-in as at the client's start. Throws addin_failure if the add-in refuses.
    connected_addin(ComPtr<addin_interface> addin, ComPtr<application> client);
    connected_addin(const connected_addin&) = delete;
    connected_addin& operator=(const connected_addin&) = delete;
    /// Disconnects the add-in as at the client's end.
    ~connected_addin();

    void startup_complete();

private:
    ComPtr<addin_interface> addin_;
    ComPtr<application> client_;
};

} // namespace host
