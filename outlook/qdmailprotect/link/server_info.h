#pragma once

#include "tool/icap_client/session_manager.h"

#include <cstdint>
#include <string>

/// Where the service is. The address is always the loopback's; no setting changes it.
struct ServerInfo
{
    static constexpr const wchar_t* Loopback = L"127.0.0.1";

    std::wstring address = Loopback;
    std::uint32_t port = 1345;
    std::wstring uri = L"/avscan"; ///< path of the service, beginning with "/"

    /// Port first, then address, then path, each exactly.
    friend bool operator==(const ServerInfo& left, const ServerInfo& right)
    {
        return left.port == right.port && left.address == right.address && left.uri == right.uri;
    }
};
