#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace test {

/// A blocking TCP socket on 127.0.0.1, on both systems. Waits are bounded. Failures to set one up throw
/// std::runtime_error.
class loopback_socket
{
public:
    loopback_socket() = default;
    loopback_socket(loopback_socket&& other) noexcept;
    loopback_socket& operator=(loopback_socket&& other) noexcept;
    loopback_socket(const loopback_socket&) = delete;
    loopback_socket& operator=(const loopback_socket&) = delete;
    ~loopback_socket();

    /// Listens on a free port.
    static loopback_socket listen();
    /// Connects to a port; the socket is not open if there is no listener.
    static loopback_socket connect(std::uint16_t port);
    [[nodiscard]] std::uint16_t port() const;
    [[nodiscard]] loopback_socket accept();

    [[nodiscard]] bool is_open() const noexcept { return handle_ != closed_handle; }
    /// Returns true if bytes, an end, or a connection can be taken.
    [[nodiscard]] bool wait_readable(int milliseconds);
    /// Returns the count of bytes taken; 0 if the other side has ended or broken the connection.
    std::size_t receive(char* destination, std::size_t size);
    /// Sends all bytes. Returns false if the other side takes no more.
    bool send(std::string_view bytes);
    /// Signals the other side that no more bytes will be sent; bytes from it can still be received.
    void end_sending() noexcept;
    void close() noexcept;
    /// Closes the socket so that the other side receives a reset.
    void reset() noexcept;

private:
    static constexpr std::intptr_t closed_handle = -1;
    explicit loopback_socket(std::intptr_t handle) noexcept
        : handle_(handle)
    {}
    std::intptr_t handle_ = closed_handle;
};

} // namespace test
