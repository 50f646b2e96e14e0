#include "doctor/port_owner_windows.h"

#include "tool/system/conversions.h"

#include <platform/handles.h>

#include <boost/asio/ip/address_v4.hpp>

#include <cstddef>
#include <iphlpapi.h>
#include <optional>
#include <stdexcept>
#include <vector>

namespace doctor {

namespace {

/// Returns the table of all listeners. It may grow between the question for its size and that for its contents.
std::vector<std::byte> table_of_listeners()
{
    constexpr int attempts = 10;
    DWORD size = 0;
    std::vector<std::byte> table;
    for (int i = 0; i < attempts; ++i) {
        const DWORD result = GetExtendedTcpTable(table.empty() ? nullptr : table.data(), &size, FALSE, AF_INET,
                                                 TCP_TABLE_OWNER_PID_LISTENER, 0);
        if (result == NO_ERROR && !table.empty()) {
            return table;
        }
        if (result != ERROR_INSUFFICIENT_BUFFER && result != NO_ERROR) {
            break;
        }
        table.resize(size + sizeof(MIB_TCPTABLE_OWNER_PID));
        size = static_cast<DWORD>(table.size());
    }
    throw std::runtime_error("the system does not show its ports");
}

std::optional<DWORD> process_on(const std::vector<std::byte>& table, std::uint32_t address, std::uint16_t port)
{
    const auto& rows = *reinterpret_cast<const MIB_TCPTABLE_OWNER_PID*>(table.data());
    for (DWORD i = 0; i < rows.dwNumEntries; ++i) {
        const MIB_TCPROW_OWNER_PID& row = rows.table[i];
        if (row.dwLocalAddr == address && ntohs(static_cast<u_short>(row.dwLocalPort)) == port) {
            return row.dwOwningPid;
        }
    }
    return {};
}

std::string program_of(DWORD process)
{
    constexpr DWORD longest = 32768;
    const winapi::kernel_handle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    std::wstring path(longest, L'\0');
    DWORD size = longest;
    if (!opened || QueryFullProcessImageNameW(opened.get(), 0, path.data(), &size) == 0) {
        return {};
    }
    path.resize(size);
    return winapi::conv_to_char(path, winapi::code_page_utf8);
}

} // namespace

port_owner system_port_table::owner_of(const endpoint& peer)
{
    const auto table = table_of_listeners();
    const std::uint32_t address = htonl(boost::asio::ip::make_address_v4(peer.address).to_uint());
    auto process = process_on(table, address, peer.port);
    if (!process) {
        process = process_on(table, INADDR_ANY, peer.port);
    }
    if (!process) {
        throw std::runtime_error("the system lists no such port");
    }
    return {program_of(*process), std::to_string(*process), {}};
}

} // namespace doctor
