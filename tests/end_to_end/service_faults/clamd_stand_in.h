#pragma once

#include "tests/end_to_end/service_faults/stand_in.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// What the stand-in does with an object.
enum class conduct
{
    honest,            ///< condemns what contains the standard antivirus test file
    slow,              ///< waits for release(), and is honest then
    silent,            ///< never answers
    garbage,           ///< answers with a text that is no answer
    closes_in_object,  ///< closes once it has received the first bytes
    resets_in_object,  ///< breaks the connection there
    closes_in_answer,  ///< closes within the answer that clears the object
    answers_early,     ///< clears the object ahead of its end
    answers_another,   ///< clears an object that it was not asked about
    reaches_size_limit ///< reports that the object is larger than its limit
};

/// A daemon with the protocol of clamd. Thread-safe, except leave() and come_back().
class clamd_stand_in
{
public:
    clamd_stand_in()
        : server_([this](stand_in::link& peer) { serve(peer); })
    {}

    /// Returns the value of --engine for this daemon.
    [[nodiscard]] std::string engine() const { return "clamd:tcp:127.0.0.1:" + std::to_string(server_.port()); }
    void leave() { server_.leave(); }
    void come_back() { server_.come_back(); }
    /// The conduct towards all objects that begin from now on.
    void behave(conduct now)
    {
        const std::lock_guard guard(lock_);
        conduct_ = now;
    }
    void set_version(std::string version)
    {
        const std::lock_guard guard(lock_);
        version_ = std::move(version);
    }
    /// Waits until that many objects have been begun. Returns false after a bounded time.
    bool wait_for_objects(std::size_t count);
    /// Waits until an object is held by conduct::slow. Returns false after a bounded time.
    bool wait_until_one_is_held();
    /// Lets the answers that conduct::slow holds go.
    void release();

private:
    void hold();
    void serve(stand_in::link& peer);
    /// Returns false if the connection has to end.
    bool take_object(stand_in::link& peer, const std::string& number);
    bool conclude(stand_in::link& peer, const std::string& number, conduct now, std::string_view object);
    [[nodiscard]] conduct begin_object();
    [[nodiscard]] std::string version();

    std::mutex lock_;
    std::condition_variable changed_;
    conduct conduct_ = conduct::honest;
    std::string version_ = "ClamAV 1.0";
    std::size_t objects_ = 0;
    std::size_t held_ = 0;
    stand_in server_; // the last member: its threads use the others
};

} // namespace test
