#pragma once

#include "tests/support/loopback_socket.h"
#include "tool/icap/response_message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace test {

/// One answer, as the client's own protocol engine reads it.
struct answer
{
    std::shared_ptr<icap::response_message> message; ///< null when no whole answer came

    [[nodiscard]] std::uint32_t status() const { return message ? message->status() : 0; }
    /// The value of a line of the ICAP head; empty when there is none.
    [[nodiscard]] std::string field(std::string_view name) const;
    /// The encapsulated HTTP message's head and body; empty when there is none.
    [[nodiscard]] std::string object_head() const;
    [[nodiscard]] std::string object() const;

private:
    [[nodiscard]] http::message* part() const;
};

/// A peer that writes requests byte for byte. Every wait is bounded.
class wire_client
{
public:
    explicit wire_client(std::uint16_t port)
        : socket_(loopback_socket::connect(port))
    {}

    [[nodiscard]] bool is_connected() const noexcept { return socket_.is_open(); }
    bool send(std::string_view bytes) { return socket_.send(bytes); }
    /// Sends in pieces of that many bytes.
    bool send_in_pieces(std::string_view bytes, std::size_t piece);
    /// The next answer.
    [[nodiscard]] answer read_answer();
    /// Sends, then reads one answer.
    [[nodiscard]] answer ask(std::string_view bytes);
    /// Waits for the service to close the connection; true when nothing came before that.
    [[nodiscard]] bool closed_by_service();
    /// All that comes until the service closes.
    [[nodiscard]] std::string read_to_end();
    [[nodiscard]] loopback_socket& socket() noexcept { return socket_; }

private:
    /// False when the service closes or falls silent.
    bool read_some();

    loopback_socket socket_;
    std::string inbox_;
    bool ended_ = false; ///< the service closed the connection
};

} // namespace test
