#include "service/event_loops.h"

#include "service/log.h"

#include <exception>

namespace service {

namespace {

void log_broken(const std::exception& failure)
{
    LOG_LINE(service_log(), 200, "a connection broke off: " << failure.what());
}

} // namespace

event_loops::event_loops(std::size_t count)
{
    do {
        loops_.push_back(std::make_unique<loop>());
    } while (loops_.size() < count);
}

boost::asio::io_context& event_loops::next()
{
    next_ = (next_ + 1) % loops_.size();
    return loops_[next_]->io;
}

void event_loops::start()
{
    for (const auto& one : loops_) {
        threads_.emplace_back([&io = one->io] { run(io); });
    }
}

/// An exception thrown by a handler ends the connection of that handler only.
void event_loops::run(boost::asio::io_context& io)
{
    for (;;) {
        try {
            io.run();
            return;
        } catch (const std::exception& failure) {
            log_broken(failure);
        }
    }
}

void event_loops::let_end()
{
    for (const auto& one : loops_) {
        one->open.reset();
    }
}

void event_loops::join()
{
    for (auto& thread : threads_) {
        thread.join();
    }
    threads_.clear();
    drain();
}

/// Runs what one loop has handed to another that had ended before. It may hold a socket of any loop.
void event_loops::drain()
{
    std::size_t count = 0;
    do {
        count = 0;
        for (const auto& one : loops_) {
            one->io.restart();
            try {
                count += one->io.poll();
            } catch (const std::exception& failure) {
                ++count;
                log_broken(failure);
            }
        }
    } while (count != 0);
}

} // namespace service
