#pragma once

#include "service/engine/stop.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

namespace service {

/// Limits how many streams are open at a time. Thread-safe.
class stream_places
{
public:
    /// A place that is taken until its destruction. It must not outlive the places.
    class place
    {
    public:
        explicit place(stream_places& owner)
            : owner_(&owner)
        {}
        ~place() { owner_->give_back(); }
        place(const place&) = delete;
        place& operator=(const place&) = delete;

    private:
        stream_places* owner_;
    };

    /// Zero: any number.
    explicit stream_places(std::size_t count);

    /// Waits for a free place. Throws std::runtime_error if a stop is requested.
    [[nodiscard]] std::unique_ptr<place> take(const stop_token& stop);
    /// Returns a place if one is free; null otherwise.
    [[nodiscard]] std::unique_ptr<place> take_free();
    /// Changes the number of places. Those that are taken remain so. Zero: any number.
    void resize(std::size_t count);

private:
    [[nodiscard]] bool is_free() const { return count_ == 0 || taken_ < count_; }
    void give_back();

    std::mutex lock_;
    std::condition_variable changed_;
    std::size_t count_;     ///< guarded by lock_
    std::size_t taken_ = 0; ///< guarded by lock_
};

} // namespace service
