#include "service/engine/clamd_session.h"

#include "service/engine/clamd_reply.h"

#include <array>
#include <stdexcept>
#include <utility>
#include <variant>

namespace service {

namespace {

constexpr std::size_t longest_chunk = 65536;
constexpr std::size_t longest_reply = 4096;

using namespace std::string_view_literals;

std::string chunk_header(std::uint32_t size)
{
    return {static_cast<char>(size >> 24U), static_cast<char>(size >> 16U), static_cast<char>(size >> 8U),
            static_cast<char>(size)};
}

} // namespace

std::string read_clamd_text(timed_stream& stream)
{
    std::string reply;
    std::array<char, 512> piece;
    for (;;) {
        const std::size_t count = stream.read_some(piece.data(), piece.size());
        if (count == 0 && reply.empty()) {
            throw connection_lost("connection closed without an answer");
        }
        if (count == 0) {
            throw std::runtime_error("connection closed within the answer");
        }
        reply.append(piece.data(), count);
        const std::size_t end = reply.find('\0');
        if (end == reply.size() - 1) {
            reply.pop_back();
            return reply;
        }
        if (end != std::string::npos || reply.size() > longest_reply) {
            throw std::runtime_error("answer not understood: " + printable(reply));
        }
    }
}

clamd_session::clamd_session(std::chrono::milliseconds timeout, stop_token stop)
    : stream_(timeout, std::move(stop))
{}

void clamd_session::connect(const timed_stream::endpoint& peer)
{
    stream_.connect(peer);
    unsent_ = "zIDSESSION\0"sv;
}

void clamd_session::begin()
{
    sound_ = false;
    taken_ = true;
    ++commands_;
    unsent_ += "zINSTREAM\0"sv;
}

bool clamd_session::send(std::string_view piece)
{
    while (taken_ && !piece.empty()) {
        const std::string_view chunk = piece.substr(0, longest_chunk);
        piece.remove_prefix(chunk.size());
        unsent_.append(chunk_header(static_cast<std::uint32_t>(chunk.size()))).append(chunk);
        if (unsent_.size() >= longest_chunk) {
            flush();
        }
    }
    return taken_;
}

bool clamd_session::flush()
{
    taken_ = taken_ && stream_.write(unsent_);
    unsent_.clear();
    return taken_;
}

verdict clamd_session::finish()
{
    // An answer that is there ahead of the end of the object is not about all of it.
    const bool early = !stream_.is_quiet();
    unsent_ += chunk_header(0);
    flush();
    verdict result = read_numbered(read_clamd_text(stream_));
    if ((early || !taken_) && std::holds_alternative<clean_verdict>(result)) {
        return error_verdict{"answered before the end of the object"};
    }
    sound_ = taken_ && !std::holds_alternative<error_verdict>(result);
    return result;
}

/// A reply with another number may be that to another object.
verdict clamd_session::read_numbered(std::string_view reply) const
{
    const std::string number = std::to_string(commands_) + ": ";
    if (!reply.starts_with(number)) {
        return error_verdict{"answer not understood: " + printable(reply)};
    }
    return read_clamd_reply(reply.substr(number.size()));
}

void clamd_session::reuse(stop_token stop, timed_stream::time_point deadline)
{
    stream_.reuse(std::move(stop), deadline);
}

} // namespace service
