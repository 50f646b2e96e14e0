#pragma once

#include "tool/icap_client/session_manager.h"

#include <cstdint>
#include <string>

/// The location of the service. The address is always the loopback address; no setting changes it.
struct ServerInfo
{
    static constexpr const wchar_t* Loopback = L"127.0.0.1";

    std::wstring address = Loopback;
    std::uint32_t port = 1345;
    std::wstring uri = L"/avscan"; ///< path of the service, beginning with "/"

    /// Compares the port, then the address, then the path, each exactly.
    friend bool operator==(const ServerInfo& left, const ServerInfo& right)
    {
        return left.port == right.port && left.address == right.address && left.uri == right.uri;
    }
};
