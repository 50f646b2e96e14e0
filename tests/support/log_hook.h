#pragma once

#include "logging/logging.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// Calls a function at each line that contains a text, on the thread that writes the line and while that thread holds
/// the locks that it holds there. The function must not log and must not throw.
class log_hook
{
public:
    log_hook(std::string part, std::function<void()> action)
        : sink_(std::make_shared<sink>(std::move(part), std::move(action)))
    {
        logging::log_manager::default_manager().add_sink(sink_, logging::priority::detail);
    }
    log_hook(const log_hook&) = delete;
    log_hook& operator=(const log_hook&) = delete;
    ~log_hook() { logging::log_manager::default_manager().remove_sink(sink_); }

private:
    class sink final : public logging::line_sink
    {
    public:
        sink(std::string part, std::function<void()> action)
            : part_(std::move(part))
            , action_(std::move(action))
        {}
        void write(logging::priority::level_type, std::string_view, std::string_view text) override
        {
            if (text.find(part_) != std::string_view::npos) {
                action_();
            }
        }

    private:
        std::string part_;
        std::function<void()> action_;
    };
    std::shared_ptr<sink> sink_;
};

} // namespace test
