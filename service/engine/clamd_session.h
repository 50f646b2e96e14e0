#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"
#include "service/engine/timed_stream.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// Reads a reply of clamd up to its terminating zero byte, which is not returned. Throws connection_lost if the
/// connection ends ahead of the first byte, and std::runtime_error if the reply is too long, has no zero byte, or
/// continues after it.
[[nodiscard]] std::string read_clamd_text(timed_stream& stream);

/// A session of clamd (IDSESSION), in which objects are judged one after the other (INSTREAM). clamd numbers its
/// replies in the order of the commands. For use on one thread at a time.
class clamd_session
{
public:
    clamd_session(std::chrono::milliseconds timeout, stop_token stop);

    void connect(const timed_stream::endpoint& peer);
    /// Starts the transfer of an object.
    void begin();
    /// Sends the next bytes of the object. Returns false if clamd takes no more of it.
    bool send(std::string_view piece);
    /// Ends the object and returns the verdict in the reply. An object that clamd did not accept completely may be
    /// condemned or unchecked, but never cleared. Throws connection_lost if the connection ended without a reply.
    [[nodiscard]] verdict finish();
    /// Returns true if the session may be used for another object: the last one was accepted and judged.
    [[nodiscard]] bool is_sound() const noexcept { return sound_; }

    /// As timed_stream.
    [[nodiscard]] bool is_quiet() { return stream_.is_quiet(); }
    void reuse(stop_token stop = {}, timed_stream::time_point deadline = timed_stream::time_point::max());

private:
    bool flush();
    [[nodiscard]] verdict read_numbered(std::string_view reply) const;

    timed_stream stream_;
    std::string unsent_;         ///< collected, so that a small object is sent at once
    std::uint32_t commands_ = 0; ///< numbers the replies
    bool taken_ = true;          ///< clamd has accepted everything sent so far
    bool sound_ = false;
};

} // namespace service
