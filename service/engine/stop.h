#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace service {

/// Tells work on another thread to end, as the classes of the same names in namespace std do. Those cannot be used: on
/// Windows the compiler's library lets the destructor of a callback wait for a notification that it may miss, and then
/// the thread never ends. All classes are thread-safe.
class stop_token
{
public:
    /// Without a source: no stop is ever requested.
    stop_token() = default;

    [[nodiscard]] bool stop_requested() const noexcept;

private:
    friend class stop_source;
    friend class stop_callback;
    struct state;

    explicit stop_token(std::shared_ptr<state> shared)
        : state_(std::move(shared))
    {}

    std::shared_ptr<state> state_;
};

class stop_source
{
public:
    stop_source();

    /// Calls the registered callbacks, one after the other, on this thread. Only the first request has an effect.
    void request_stop();
    [[nodiscard]] bool stop_requested() const noexcept { return token_.stop_requested(); }
    [[nodiscard]] stop_token get_token() const { return token_; }

private:
    stop_token token_;
};

/// Calls a function once a stop is requested; in the constructor, if that has happened before.
class stop_callback
{
public:
    /// `call` must not throw.
    stop_callback(stop_token token, std::function<void()> call);
    stop_callback(const stop_callback&) = delete;
    stop_callback& operator=(const stop_callback&) = delete;
    /// Waits until a call that is under way has ended. Must not be called by the function itself.
    ~stop_callback();

private:
    friend class stop_source;

    std::shared_ptr<stop_token::state> state_;
    std::function<void()> call_;
};

} // namespace service
