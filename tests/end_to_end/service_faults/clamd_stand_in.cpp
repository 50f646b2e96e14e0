#include "tests/end_to_end/service_faults/clamd_stand_in.h"

#include <chrono>

namespace test {

namespace {

constexpr std::chrono::seconds stand_in_patience{60};
constexpr std::size_t chunk_head = 4;
constexpr std::string_view command_end("\0", 1);

std::string zero_ended(std::string text)
{
    return text.append(1, '\0');
}

} // namespace

bool clamd_stand_in::wait_for_objects(std::size_t count)
{
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, stand_in_patience, [&] { return objects_ >= count; });
}

bool clamd_stand_in::wait_until_one_is_held()
{
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, stand_in_patience, [&] { return held_ != 0; });
}

void clamd_stand_in::release()
{
    const std::lock_guard guard(lock_);
    held_ = 0;
    changed_.notify_all();
}

void clamd_stand_in::hold()
{
    std::unique_lock guard(lock_);
    ++held_;
    changed_.notify_all();
    changed_.wait_for(guard, stand_in_patience, [&] { return held_ == 0; });
}

void clamd_stand_in::serve(stand_in::link& peer)
{
    bool in_session = false;
    std::size_t number = 0;
    std::string command;
    while (peer.take_until(command_end, command)) {
        command.pop_back();
        if (command == "zIDSESSION") {
            in_session = true;
            continue;
        }
        const std::string heading = in_session ? std::to_string(++number) + ": " : std::string();
        if (command == "zVERSION") {
            peer.send(zero_ended(heading + version()));
        } else if (command != "zINSTREAM" || !take_object(peer, heading)) {
            return;
        }
        if (!in_session) {
            return;
        }
    }
}

bool clamd_stand_in::take_object(stand_in::link& peer, const std::string& number)
{
    const conduct now = begin_object();
    std::string object;
    std::string piece;
    for (;;) {
        if (!peer.take(chunk_head, piece)) {
            return false;
        }
        std::uint32_t size = 0;
        for (const char byte : piece) {
            size = size << 8U | static_cast<unsigned char>(byte);
        }
        if (size == 0) {
            return conclude(peer, number, now, object);
        }
        if (now == conduct::resets_in_object) {
            peer.reset_at_end();
        }
        if (now == conduct::closes_in_object || now == conduct::resets_in_object || !peer.take(size, piece)) {
            return false;
        }
        if (now == conduct::answers_early && object.empty()) {
            peer.send(zero_ended(number + "stream: OK"));
        }
        object += piece;
    }
}

bool clamd_stand_in::conclude(stand_in::link& peer, const std::string& number, conduct now, std::string_view object)
{
    const bool condemned = object.find("ANTIVIRUS-TEST") != std::string_view::npos;
    switch (now) {
    case conduct::slow:
        hold();
        [[fallthrough]];
    case conduct::honest:
        peer.send(zero_ended(number + (condemned ? "stream: Stand.In FOUND" : "stream: OK")));
        return true;
    case conduct::garbage:
        peer.send(zero_ended(number + "\x16\x03 what is this?"));
        return false;
    case conduct::closes_in_answer:
        peer.send(number + "stream: O");
        return false;
    case conduct::answers_another:
        peer.send(zero_ended("7" + number + "stream: OK"));
        return true;
    case conduct::reaches_size_limit:
        peer.send(zero_ended(number + "INSTREAM size limit exceeded. ERROR"));
        return false;
    case conduct::silent:
        return peer.need(1); // until the peer leaves
    default:
        return false;
    }
}

conduct clamd_stand_in::begin_object()
{
    const std::lock_guard guard(lock_);
    ++objects_;
    changed_.notify_all();
    return conduct_;
}

std::string clamd_stand_in::version()
{
    const std::lock_guard guard(lock_);
    return version_;
}

} // namespace test
