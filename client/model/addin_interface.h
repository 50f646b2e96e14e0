#pragma once

#include <platform/com.h>

namespace host {

enum class connect_mode : LONG
{
    after_startup = 0,
    startup = 1,
    external = 2,
    command_line = 3
};

enum class disconnect_mode : LONG
{
    host_shutdown = 0,
    user_closed = 1
};

inline constexpr IID iid_addin{0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};

/// _IDTExtensibility2, through which an Office client starts and ends its add-ins.
struct addin_interface : IDispatch
{
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, connect_mode mode, IDispatch* instance,
                                                   SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(disconnect_mode mode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;

protected:
    ~addin_interface() = default;
};

} // namespace host
