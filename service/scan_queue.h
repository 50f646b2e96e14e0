#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace service {

class judgement;

/// The objects of a queue.
struct scan_load
{
    std::size_t waiting = 0;
    std::size_t running = 0;
};

/// The objects that wait for a scanner thread, and these threads. Objects are judged in the order of their requests.
/// Thread-safe, except that stop() must not be called by a scanner thread.
class scan_queue
{
public:
    /// Identifies a waiting object. No object has the value 0.
    using place = std::uint64_t;

    explicit scan_queue(std::size_t threads);
    scan_queue(const scan_queue&) = delete;
    scan_queue& operator=(const scan_queue&) = delete;
    ~scan_queue();

    /// Adds an object. Drops it after stop().
    place submit(std::shared_ptr<judgement> waiting);
    /// Removes an object that waits. Does nothing if it does not wait any more.
    void withdraw(place left);
    /// Returns how many objects wait, and how many are being judged.
    [[nodiscard]] scan_load load();
    /// Drops the waiting objects, and waits until those being judged have been judged. May be called more than once.
    void stop();

private:
    void run();

    std::mutex lock_;
    std::condition_variable changed_;
    std::map<place, std::shared_ptr<judgement>> waiting_;
    place last_ = 0;
    std::size_t running_ = 0;
    bool stopped_ = false;
    std::vector<std::thread> threads_;
};

} // namespace service
