#pragma once

#include "tests/end_to_end/service_faults/stand_in.h"

#include <cstddef>
#include <mutex>
#include <string>
#include <utility>

namespace test {

/// What the upstream server does with an object.
enum class upstream_conduct
{
    honest,             ///< condemns what contains the standard antivirus test file
    wants_rest_twice,   ///< asks for the rest of an object again when it has all of it
    closes_at_rest,     ///< asks for the rest, and closes when it comes
    clears_then_blocks, ///< clears the preview, and condemns the object behind that
    fails_at_rest       ///< asks for the rest, and answers it with a status of 500
};

/// An ICAP server that asks for previews of four bytes. Thread-safe.
class icap_stand_in
{
public:
    icap_stand_in()
        : server_([this](stand_in::link& peer) { serve(peer); })
    {}

    [[nodiscard]] std::string engine() const { return "icap://127.0.0.1:" + std::to_string(server_.port()) + "/scan"; }
    void behave(upstream_conduct now)
    {
        const std::lock_guard guard(lock_);
        conduct_ = now;
    }
    /// Ends each connection behind its next answer, which does not announce it.
    void close_kept_connections(bool close)
    {
        const std::lock_guard guard(lock_);
        closes_ = close;
    }
    void set_tag(std::string tag)
    {
        const std::lock_guard guard(lock_);
        tag_ = std::move(tag);
    }
    /// Returns the number of connections so far.
    [[nodiscard]] std::size_t connections()
    {
        const std::lock_guard guard(lock_);
        return connections_;
    }

private:
    void serve(stand_in::link& peer);
    bool take_object(stand_in::link& peer, const std::string& head);
    /// Appends the payload of chunks. Returns false if the connection ends before their end.
    static bool take_chunks(stand_in::link& peer, std::string& object, bool& whole);
    [[nodiscard]] std::string head(const char* status, const std::string& fields = {});
    [[nodiscard]] upstream_conduct conduct();

    std::mutex lock_;
    upstream_conduct conduct_ = upstream_conduct::honest;
    bool closes_ = false;
    std::string tag_ = "one";
    std::size_t connections_ = 0;
    stand_in server_; // the last member: its threads use the others
};

} // namespace test
