#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace service {

/// The event loops of a server, each with a thread of its own. Each connection belongs to one loop, so that no lock and
/// no other thread is involved. start(), join() and the destructor must be called from one thread.
class event_loops
{
public:
    /// Makes at least one loop.
    explicit event_loops(std::size_t count);
    event_loops(const event_loops&) = delete;
    event_loops& operator=(const event_loops&) = delete;
    /// The threads must have ended.
    ~event_loops() = default;

    /// The loop of everything that is no connection.
    [[nodiscard]] boost::asio::io_context& first() { return loops_.front()->io; }
    /// Returns the loops by turns. Must be called on the thread of the first loop only.
    [[nodiscard]] boost::asio::io_context& next();

    /// Starts the threads.
    void start();
    /// Lets each thread end as soon as nothing is left to do in its loop. Thread-safe.
    void let_end();
    /// Waits for the end of the threads. Afterwards nothing is left to do in any loop.
    void join();

private:
    struct loop
    {
        boost::asio::io_context io{1};
        boost::asio::executor_work_guard<boost::asio::io_context::executor_type> open{io.get_executor()};
    };

    static void run(boost::asio::io_context& io);
    void drain();

    std::vector<std::unique_ptr<loop>> loops_; ///< at least one
    std::size_t next_ = 0;
    std::vector<std::thread> threads_;
};

} // namespace service
