#include "bench/loopback_listener.h"

#include <csignal>
#include <cstdio>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>

namespace bench {

std::uint16_t listen_on_loopback(int& listener)
{
    listener = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener, SOMAXCONN) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

void announce_port(std::uint16_t port)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::printf("serving on 127.0.0.1:%u\n", static_cast<unsigned>(port));
    (void)std::fflush(stdout);
}

} // namespace bench
