#pragma once

#include "tests/support/loopback_socket.h"
#include "tool/icap/response_message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test {

/// One response, parsed by the client's own protocol engine.
struct answer
{
    std::shared_ptr<icap::response_message> message; ///< null if no complete response was received

    [[nodiscard]] std::uint32_t status() const { return message ? message->status() : 0; }
    /// Returns the value of a line of the ICAP head; empty if there is none.
    [[nodiscard]] std::string field(std::string_view name) const;
    /// Return the head and the body of the encapsulated HTTP message; empty if there is none.
    [[nodiscard]] std::string object_head() const;
    [[nodiscard]] std::string object() const;

private:
    [[nodiscard]] http::message* part() const;
};

/// A peer that writes requests as raw bytes. Every wait has a time limit.
class wire_client
{
public:
    explicit wire_client(std::uint16_t port)
        : socket_(loopback_socket::connect(port))
    {}

    [[nodiscard]] bool is_connected() const noexcept { return socket_.is_open(); }
    bool send(std::string_view bytes) { return socket_.send(bytes); }
    /// Sends pieces of that many bytes.
    bool send_in_pieces(std::string_view bytes, std::size_t piece);
    /// Reads the next response.
    [[nodiscard]] answer read_answer();
    /// Sends, then reads one response.
    [[nodiscard]] answer ask(std::string_view bytes);
    /// Waits for the service to close the connection. Returns true if nothing was received before.
    [[nodiscard]] bool closed_by_service();
    /// Returns all bytes received until the service closes the connection.
    [[nodiscard]] std::string read_to_end();
    [[nodiscard]] loopback_socket& socket() noexcept { return socket_; }

private:
    /// Returns false if the service closes the connection or sends nothing.
    bool read_some();

    loopback_socket socket_;
    std::string inbox_;
    bool ended_ = false; ///< the service closed the connection
};

} // namespace test
