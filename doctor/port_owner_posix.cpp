#include "doctor/port_owner_posix.h"

#include <boost/asio/ip/address_v4.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <netinet/in.h>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace doctor {

namespace {

namespace fs = std::filesystem;

/// A listening socket as the table of the system lists it.
struct listening_socket
{
    std::string inode;
    std::string user;
};

/// Returns an address as the table contains it: the number in the order of the machine, and the port.
std::string table_address(const std::string& address, std::uint16_t port)
{
    const auto number = htonl(boost::asio::ip::make_address_v4(address).to_uint());
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "%08X:%04X", static_cast<unsigned>(number),
                        static_cast<unsigned>(port));
    return text.data();
}

/// Returns the socket that listens on one of these addresses.
std::optional<listening_socket> find_socket(const fs::path& table, const std::vector<std::string>& addresses)
{
    constexpr const char* listens = "0A";
    std::ifstream input(table);
    std::string line;
    std::getline(input, line); // the heading
    while (std::getline(input, line)) {
        std::istringstream fields(line);
        std::string skipped;
        std::string local;
        std::string state;
        listening_socket found;
        fields >> skipped >> local >> skipped >> state >> skipped >> skipped >> skipped >> found.user >> skipped >>
            found.inode;
        if (fields && state == listens && std::find(addresses.begin(), addresses.end(), local) != addresses.end()) {
            return found;
        }
    }
    return {};
}

bool is_number(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Returns true if one of the descriptors of a process is the socket.
bool has_socket(const fs::path& process, const std::string& inode)
{
    std::error_code error;
    const fs::path wanted("socket:[" + inode + "]");
    for (fs::directory_iterator place(process / "fd", error), end; !error && place != end; place.increment(error)) {
        std::error_code unreadable;
        if (fs::read_symlink(place->path(), unreadable) == wanted) {
            return true;
        }
    }
    return false;
}

} // namespace

proc_port_table::proc_port_table(fs::path folder)
    : folder_(std::move(folder))
{}

port_owner proc_port_table::owner_of(const endpoint& peer)
{
    const std::string any6 = "00000000000000000000000000000000";
    const std::string port = table_address("0.0.0.0", peer.port).substr(8);
    auto socket = find_socket(folder_ / "net/tcp", {table_address(peer.address, peer.port)});
    if (!socket) {
        socket = find_socket(folder_ / "net/tcp", {table_address("0.0.0.0", peer.port)});
    }
    if (!socket) {
        socket = find_socket(folder_ / "net/tcp6", {any6 + port});
    }
    if (!socket) {
        throw std::runtime_error("the system lists no such port");
    }
    port_owner owner;
    owner.user = "user " + socket->user;
    std::error_code error;
    for (fs::directory_iterator place(folder_, error), end; !error && place != end; place.increment(error)) {
        const std::string number = place->path().filename().string();
        if (is_number(number) && has_socket(place->path(), socket->inode)) {
            owner.process = number;
            std::error_code unreadable;
            owner.program = fs::read_symlink(place->path() / "exe", unreadable).string();
            break;
        }
    }
    return owner;
}

} // namespace doctor
