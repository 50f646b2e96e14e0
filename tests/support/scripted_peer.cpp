#include "tests/support/scripted_peer.h"

#include <array>
#include <chrono>
#include <thread>
#include <utility>

namespace test {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr int poll_milliseconds = 20;

} // namespace

conversation& conversation::expect(std::size_t count) &
{
    steps_.push_back({action::expect, count, {}, {}});
    return *this;
}

conversation& conversation::expect_until(std::string marker) &
{
    steps_.push_back({action::expect_until, 0, std::move(marker), {}});
    return *this;
}

conversation& conversation::send(std::string bytes) &
{
    steps_.push_back({action::send, 0, std::move(bytes), {}});
    return *this;
}

conversation& conversation::send_bytewise(std::string bytes) &
{
    steps_.push_back({action::send_bytewise, 0, std::move(bytes), {}});
    return *this;
}

conversation& conversation::wait() &
{
    steps_.push_back({action::wait, 0, {}, {}});
    return *this;
}

conversation& conversation::hold_until(std::function<bool()> met) &
{
    steps_.push_back({action::hold_until, 0, {}, std::move(met)});
    return *this;
}

conversation& conversation::close() &
{
    steps_.push_back({action::close, 0, {}, {}});
    return *this;
}

conversation& conversation::reset() &
{
    steps_.push_back({action::reset, 0, {}, {}});
    return *this;
}

scripted_peer::scripted_peer(std::vector<conversation> conversations)
    : listener_(loopback_socket::listen())
    , port_(listener_.port())
{
    for (auto& script : conversations) {
        served_.push_back(std::make_unique<connection>());
        served_.back()->script = std::move(script);
    }
    thread_ = std::thread([this] { serve(); });
}

scripted_peer::~scripted_peer()
{
    {
        const std::lock_guard guard(lock_);
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
    for (auto& served : served_) {
        if (served->thread.joinable()) {
            served->thread.join();
        }
    }
}

void scripted_peer::serve()
{
    while (!stop_) {
        if (!listener_.wait_readable(poll_milliseconds)) {
            continue;
        }
        loopback_socket taken = listener_.accept();
        const std::lock_guard guard(lock_);
        const std::size_t index = accepted_++;
        if (index < served_.size()) {
            connection& next = *served_[index];
            next.socket = std::move(taken);
            next.thread = std::thread([this, &next] { run(next); });
        }
        changed_.notify_all();
    }
}

void scripted_peer::run(connection& served)
{
    bool going_on = true;
    for (const auto& next : served.script.steps_) {
        going_on = perform(served, next);
        if (!going_on) {
            break;
        }
    }
    while (going_on && !stop_) {
        going_on = !served.socket.wait_readable(poll_milliseconds) || read_some(served);
    }
    served.socket.close();
    const std::lock_guard guard(lock_);
    served.ended = true;
    changed_.notify_all();
}

bool scripted_peer::perform(connection& served, const step& next)
{
    using action = conversation::action;
    switch (next.what) {
    case action::expect:
    case action::expect_until:
        return read_until_enough(served, next);
    case action::send:
        return served.socket.send(next.text);
    case action::send_bytewise:
        for (std::size_t place = 0; place < next.text.size(); ++place) {
            if (!served.socket.send(std::string_view{next.text}.substr(place, 1))) {
                return false;
            }
        }
        return true;
    case action::wait:
        return wait_for_release(served);
    case action::hold_until:
        return hold(next);
    case action::close:
        served.socket.close();
        return false;
    case action::reset:
        served.socket.reset();
        return false;
    }
    return false;
}

bool scripted_peer::read_until_enough(connection& served, const step& next)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        {
            const std::lock_guard guard(lock_);
            if (next.text.empty() && served.received.size() - served.taken >= next.count) {
                served.taken += next.count;
                return true;
            }
            if (!next.text.empty()) {
                const auto found = served.received.find(next.text, served.taken);
                if (found != std::string::npos) {
                    served.taken = found + next.text.size();
                    return true;
                }
            }
        }
        if (stop_ || std::chrono::steady_clock::now() > deadline) {
            complain("bytes that were expected did not come");
            return false;
        }
        if (served.socket.wait_readable(poll_milliseconds) && !read_some(served)) {
            complain("the client closed while bytes were expected");
            return false;
        }
    }
}

bool scripted_peer::read_some(connection& served)
{
    std::array<char, 65536> bytes;
    const std::size_t count = served.socket.receive(bytes.data(), bytes.size());
    const std::lock_guard guard(lock_);
    served.received.append(bytes.data(), count);
    if (count != 0) {
        served.pieces.push_back(count);
    }
    changed_.notify_all();
    return count != 0;
}

bool scripted_peer::wait_for_release(connection& served)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!stop_ && std::chrono::steady_clock::now() < deadline) {
        {
            const std::lock_guard guard(lock_);
            if (releases_ != 0) {
                --releases_;
                return true;
            }
        }
        if (served.socket.wait_readable(poll_milliseconds) && !read_some(served)) {
            return false;
        }
    }
    return false;
}

bool scripted_peer::hold(const step& next)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!next.met()) {
        if (stop_ || std::chrono::steady_clock::now() > deadline) {
            complain("what a step was held for did not come");
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void scripted_peer::release()
{
    const std::lock_guard guard(lock_);
    ++releases_;
    changed_.notify_all();
}

std::size_t scripted_peer::connections() const
{
    const std::lock_guard guard(lock_);
    return accepted_;
}

std::string scripted_peer::received(std::size_t index) const
{
    const std::lock_guard guard(lock_);
    return served_.at(index)->received;
}

std::vector<std::size_t> scripted_peer::pieces(std::size_t index) const
{
    const std::lock_guard guard(lock_);
    return served_.at(index)->pieces;
}

bool scripted_peer::wait_for_end(std::size_t index) const
{
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [&] { return served_.at(index)->ended; });
}

bool scripted_peer::wait_for_bytes(std::size_t index, std::size_t count) const
{
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [&] { return served_.at(index)->received.size() >= count; });
}

void scripted_peer::complain(const std::string& text)
{
    const std::lock_guard guard(lock_);
    complaints_.push_back(text);
}

std::vector<std::string> scripted_peer::complaints() const
{
    const std::lock_guard guard(lock_);
    return complaints_;
}

} // namespace test
