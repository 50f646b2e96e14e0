#pragma once

#include "tool/wproxy/socket.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// A Winsock that a test controls: every operation returns the next result that was set for it, success by default, and
/// is recorded in `calls`. No operation waits.
class fake_platform final : public web::socket_platform
{
public:
    fake_platform() = default;
    ~fake_platform() override;

    /// Returns a handle that is valid and refers to no object.
    [[nodiscard]] static tpl::native_handle some_handle();
    /// Makes the next calls of `operation` return these codes; later ones succeed.
    void will_give(const std::string& operation, std::vector<std::uint32_t> codes);
    /// Makes the next enumerations return these events, with this code for the event at `bit`.
    void will_find(std::uint32_t events, std::size_t bit = 0, std::uint32_t code = 0);
    /// Returns the calls since the last time, except those without significance here (create_event).
    [[nodiscard]] std::vector<std::string> take_calls();
    /// Returns the context of the read under way and gives up its ownership; null if there is none.
    [[nodiscard]] std::unique_ptr<web::read_context> take_outstanding();
    [[nodiscard]] bool read_is_outstanding() const { return outstanding_ != nullptr; }

    tpl::native_handle open_socket() override { return some_handle(); }
    std::uint32_t connect(tpl::native_handle handle, const web::socket_address& address) override;
    std::uint32_t getsockname(tpl::native_handle handle, web::socket_address& address) override;
    void closesocket(tpl::native_handle handle) override;
    web::socket_event create_event() override;
    void close_event(web::socket_event event) override;
    std::uint32_t event_select(tpl::native_handle handle, web::socket_event event, std::uint32_t mask) override;
    std::uint32_t enum_network_events(tpl::native_handle handle, web::socket_event event,
                                      web::network_events& happened) override;
    std::uint32_t wait_for_event(web::socket_event event, std::uint32_t milliseconds, bool alertable,
                                 std::uint32_t& code) override;
    std::uint32_t recv(tpl::native_handle handle, char* destination, std::uint32_t size,
                       tpl::io_context* context) override;
    std::uint32_t send(tpl::native_handle handle, const char* source, std::uint32_t size, std::uint32_t& sent) override;
    std::uint32_t send_disconnect(tpl::native_handle handle) override;
    std::uint32_t recv_disconnect(tpl::native_handle handle) override;
    std::uint32_t address_to_string(const web::socket_address& address, char* text, std::uint32_t& size) override;
    bool attach(tpl::channel& channel, tpl::conduit& conduit) override;
    std::string current_user_name() override;
    std::int64_t clock() override;
    void set_last_error(std::uint32_t code) override;
    void debug_break() override;

    web::socket_address local = web::make_socket_address(0x7F000001, 50123); ///< result of getsockname
    web::socket_address asked;                                               ///< last argument of connect
    std::string user = "someone";
    std::deque<std::int64_t> clock_values; ///< then 0
    std::uint32_t wait_error = 0;          ///< the code of a failed wait
    std::deque<std::uint32_t> send_counts; ///< counts taken by the next successful sends; then everything
    std::string sent_bytes;                ///< bytes taken by sends
    std::uint32_t text_size_needed = 0;    ///< the size that address_to_string requests when it fails
    bool attachable = true;
    std::function<void(const std::string& call)> on_call; ///< runs within each operation; may be empty

private:
    [[nodiscard]] std::uint32_t next(const std::string& operation);
    void called(const std::string& text);
    [[nodiscard]] static const char* name_of(tpl::native_handle handle);

    std::map<std::string, std::deque<std::uint32_t>> results_;
    std::deque<web::network_events> found_;
    std::vector<std::string> calls_;
    tpl::io_context* outstanding_ = nullptr;
    int event_ = 0; ///< its address is the event
};

} // namespace test
