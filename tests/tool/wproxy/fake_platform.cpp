#include "tests/tool/wproxy/fake_platform.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

namespace test {

namespace {

template <typename... Parts>
std::string joined(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

} // namespace

fake_platform::~fake_platform()
{
    const std::unique_ptr<tpl::io_context> left(outstanding_);
}

tpl::native_handle fake_platform::some_handle()
{
    // A pointer on one system, a number on the other; never looked into.
    return (tpl::native_handle)0x1000; // NOLINT
}

const char* fake_platform::name_of(tpl::native_handle handle)
{
    return handle == some_handle() ? "" : handle == tpl::invalid_handle ? "(invalid)" : "(other)";
}

void fake_platform::will_give(const std::string& operation, std::vector<std::uint32_t> codes)
{
    results_[operation].assign(codes.begin(), codes.end());
}

void fake_platform::will_find(std::uint32_t events, std::size_t bit, std::uint32_t code)
{
    web::network_events happened;
    happened.events = events;
    happened.error[bit] = code;
    found_.push_back(happened);
}

std::vector<std::string> fake_platform::take_calls()
{
    return std::exchange(calls_, {});
}

std::unique_ptr<web::read_context> fake_platform::take_outstanding()
{
    return std::unique_ptr<web::read_context>(static_cast<web::read_context*>(std::exchange(outstanding_, nullptr)));
}

void fake_platform::called(const std::string& text)
{
    if (on_call) {
        on_call(text);
    }
    calls_.push_back(text);
}

std::uint32_t fake_platform::next(const std::string& operation)
{
    auto& left = results_[operation];
    if (left.empty()) {
        return 0;
    }
    const auto code = left.front();
    left.pop_front();
    return code;
}

std::uint32_t fake_platform::connect(tpl::native_handle handle, const web::socket_address& address)
{
    called(joined("connect", name_of(handle)));
    asked = address;
    return next("connect");
}

std::uint32_t fake_platform::getsockname(tpl::native_handle handle, web::socket_address& address)
{
    called(joined("getsockname", name_of(handle)));
    const auto code = next("getsockname");
    if (code == 0) {
        address = local;
    }
    return code;
}

void fake_platform::closesocket(tpl::native_handle handle)
{
    called(joined("closesocket", name_of(handle)));
}

web::socket_event fake_platform::create_event()
{
    return &event_;
}

void fake_platform::close_event(web::socket_event event)
{
    called(joined("close_event", event == &event_ ? "" : " other event"));
}

std::uint32_t fake_platform::event_select(tpl::native_handle handle, web::socket_event event, std::uint32_t mask)
{
    called(joined("event_select", name_of(handle), " ", mask, (event == &event_ ? "" : " other event")));
    return next("event_select");
}

std::uint32_t fake_platform::enum_network_events(tpl::native_handle handle, web::socket_event event,
                                                 web::network_events& happened)
{
    called(joined("enum", name_of(handle), (event == &event_ ? "" : " other event")));
    const auto code = next("enum");
    happened = {};
    if (code == 0 && !found_.empty()) {
        happened = found_.front();
        found_.pop_front();
    }
    return code;
}

std::uint32_t fake_platform::wait_for_event(web::socket_event event, std::uint32_t milliseconds, bool alertable,
                                            std::uint32_t& code)
{
    called(joined("wait ", milliseconds, (alertable ? " alertable" : ""), (event == &event_ ? "" : " other event")));
    code = wait_error;
    return next("wait");
}

std::uint32_t fake_platform::recv(tpl::native_handle handle, char*, std::uint32_t size, tpl::io_context* context)
{
    called(joined("recv", name_of(handle), " ", size));
    const auto code = next("recv");
    if (code == 0 || code == 997) {
        outstanding_ = context;
    }
    return code;
}

std::uint32_t fake_platform::send(tpl::native_handle handle, const char* source, std::uint32_t size,
                                  std::uint32_t& sent)
{
    called(joined("send", name_of(handle), " ", size));
    const auto code = next("send");
    sent = 0;
    if (code == 0) {
        sent = size;
        if (!send_counts.empty()) {
            sent = std::min(size, send_counts.front());
            send_counts.pop_front();
        }
        sent_bytes.append(source, sent);
    }
    return code;
}

std::uint32_t fake_platform::send_disconnect(tpl::native_handle handle)
{
    called(joined("send_disconnect", name_of(handle)));
    return next("send_disconnect");
}

std::uint32_t fake_platform::recv_disconnect(tpl::native_handle handle)
{
    called(joined("recv_disconnect", name_of(handle)));
    return next("recv_disconnect");
}

std::uint32_t fake_platform::address_to_string(const web::socket_address& address, char* text, std::uint32_t& size)
{
    called(joined("address_to_string ", size));
    const auto code = next("address_to_string");
    if (code != 0) {
        size = text_size_needed;
        return code;
    }
    const auto full = joined("host ", web::host_number(address), " port ", web::port_number(address));
    const auto length = std::min<std::size_t>(full.size(), size - 1);
    std::memcpy(text, full.data(), length);
    text[length] = '\0';
    return 0;
}

bool fake_platform::attach(tpl::channel&, tpl::conduit& conduit)
{
    called(joined("attach", name_of(conduit.handle())));
    return attachable;
}

std::string fake_platform::current_user_name()
{
    called("current_user_name");
    return user;
}

std::int64_t fake_platform::clock()
{
    if (clock_values.empty()) {
        return 0;
    }
    const auto value = clock_values.front();
    clock_values.pop_front();
    return value;
}

void fake_platform::set_last_error(std::uint32_t code)
{
    called(joined("set_last_error ", code));
}

void fake_platform::debug_break()
{
    called("debug_break");
}

} // namespace test
