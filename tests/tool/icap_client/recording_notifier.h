#pragma once

#include "tool/icap/response_notifier.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// Records the meaning of each response. Thread-safe.
class recording_notifier final : public icap::response_notifier
{
public:
    void options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods) override
    {
        note("options " + istag + " " + std::to_string(preview) + " " + std::to_string(methods.size()));
    }
    void continue_(const std::string& istag) override { note("continue " + istag); }
    void no_content(const std::string& istag) override { note("no content " + istag); }
    void blocked(const std::string& istag, const std::string& threat,
                 const std::shared_ptr<icap::response_message>& answer) override
    {
        note("blocked " + istag + " " + threat, answer);
    }
    void repaired(const std::string& istag, const std::shared_ptr<icap::response_message>& answer) override
    {
        note("repaired " + istag, answer);
    }
    void error(const std::string& description) override { note("error " + description); }

    [[nodiscard]] std::vector<std::string> calls() const
    {
        const std::lock_guard guard(lock_);
        return calls_;
    }
    /// Returns the answer of the last call that had one.
    [[nodiscard]] std::shared_ptr<icap::response_message> answer() const
    {
        const std::lock_guard guard(lock_);
        return answer_;
    }
    /// Returns the threads on which the calls were made.
    [[nodiscard]] std::vector<std::thread::id> threads() const
    {
        const std::lock_guard guard(lock_);
        return threads_;
    }
    bool wait_for(std::size_t count) const
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(60), [&] { return calls_.size() >= count; });
    }

private:
    void note(std::string call, std::shared_ptr<icap::response_message> answer = nullptr)
    {
        const std::lock_guard guard(lock_);
        calls_.push_back(std::move(call));
        threads_.push_back(std::this_thread::get_id());
        if (answer) {
            answer_ = std::move(answer);
        }
        changed_.notify_all();
    }

    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::vector<std::string> calls_;
    std::vector<std::thread::id> threads_;
    std::shared_ptr<icap::response_message> answer_;
};

} // namespace test
