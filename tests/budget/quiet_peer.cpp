#include "tests/budget/quiet_peer.h"

#include "tests/budget/counts.h"

#include <array>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

namespace budget {

namespace {

constexpr int poll_milliseconds = 20;
constexpr std::string_view end_of_head = "\r\n\r\n";
constexpr std::string_view end_of_body = "\r\n0\r\n\r\n";
constexpr std::string_view options_reply = "ICAP/1.0 200 OK\r\nMethods: REQMOD, RESPMOD\r\nISTag: \"quiet\"\r\n"
                                           "Preview: 0\r\nEncapsulated: null-body=0\r\n\r\n";
constexpr std::string_view clean_reply =
    "ICAP/1.0 204 No Content\r\nISTag: \"quiet\"\r\nEncapsulated: null-body=0\r\n\r\n";

/// Returns the number that follows `name`; 0 if there is none.
std::size_t number_after(std::string_view text, std::string_view name)
{
    const std::size_t at = text.find(name);
    std::size_t number = 0;
    if (at != std::string_view::npos) {
        std::from_chars(text.data() + at + name.size(), text.data() + text.size(), number);
    }
    return number;
}

} // namespace

quiet_peer::quiet_peer()
    : listener_(test::loopback_socket::listen())
    , port_(listener_.port())
    , acceptor_([this] { accept_connections(); })
{}

quiet_peer::~quiet_peer()
{
    stop_ = true;
    acceptor_.join();
}

void quiet_peer::accept_connections()
{
    const set_aside uncounted;
    std::vector<std::thread> servers;
    while (!stop_) {
        if (!listener_.wait_readable(poll_milliseconds)) {
            continue;
        }
        servers.emplace_back([this, connection = std::make_shared<test::loopback_socket>(listener_.accept())] {
            const set_aside server_uncounted;
            serve(*connection);
        });
    }
    for (auto& server : servers) {
        server.join();
    }
}

void quiet_peer::serve(test::loopback_socket& connection)
{
    std::string pending;
    while (serve_request(connection, pending)) {
    }
    connection.close();
}

/// Returns false at the end of the connection.
bool quiet_peer::read_some(test::loopback_socket& connection, std::string& pending)
{
    std::array<char, 65536> block;
    while (!connection.wait_readable(poll_milliseconds)) {
        if (stop_) {
            return false;
        }
    }
    const std::size_t count = connection.receive(block.data(), block.size());
    pending.append(block.data(), count);
    received_ += count;
    return count != 0;
}

bool quiet_peer::serve_request(test::loopback_socket& connection, std::string& pending)
{
    std::size_t end = pending.find(end_of_head);
    while (end == std::string::npos) {
        if (!read_some(connection, pending)) {
            return false;
        }
        end = pending.find(end_of_head);
    }
    const std::string head = pending.substr(0, end + end_of_head.size());
    if (head.starts_with("OPTIONS")) {
        pending.erase(0, head.size());
        return connection.send(options_reply);
    }
    if (head.find("null-body=") == std::string::npos) {
        return read_body(connection, pending) && connection.send(clean_reply);
    }
    const std::size_t whole = head.size() + number_after(head, "null-body=");
    while (pending.size() < whole) {
        if (!read_some(connection, pending)) {
            return false;
        }
    }
    pending.erase(0, whole);
    return connection.send(clean_reply);
}

bool quiet_peer::read_body(test::loopback_socket& connection, std::string& pending)
{
    while (!pending.ends_with(end_of_body)) {
        if (pending.size() > end_of_body.size()) { // the rest was no end mark
            pending.erase(0, pending.size() - end_of_body.size());
        }
        if (!read_some(connection, pending)) {
            return false;
        }
    }
    pending.clear();
    ++scans_;
    return true;
}

} // namespace budget
