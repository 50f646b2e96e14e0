#include "tests/support/log_capture.h"

#include <algorithm>
#include <mutex>

namespace test {

class log_capture::sink final : public logging::line_sink
{
public:
    void write(logging::priority::level_type level, std::string_view logger_name, std::string_view text) override
    {
        const std::lock_guard guard(lock_);
        lines_.push_back({level, std::string(logger_name), std::string(text)});
    }

    [[nodiscard]] std::vector<log_record> lines() const
    {
        const std::lock_guard guard(lock_);
        return lines_;
    }

    void clear()
    {
        const std::lock_guard guard(lock_);
        lines_.clear();
    }

private:
    mutable std::mutex lock_;
    std::vector<log_record> lines_;
};

log_capture::log_capture(std::uint32_t threshold)
    : sink_(std::make_shared<sink>())
{
    logging::log_manager::default_manager().add_sink(sink_, threshold);
}

log_capture::~log_capture()
{
    logging::log_manager::default_manager().remove_sink(sink_);
}

std::vector<log_record> log_capture::lines() const
{
    return sink_->lines();
}

std::vector<std::string> log_capture::texts(std::string_view logger_name) const
{
    std::vector<std::string> texts;
    for (const auto& line : sink_->lines()) {
        if (logger_name.empty() || line.logger == logger_name) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

bool log_capture::contains(std::string_view part) const
{
    const auto lines = sink_->lines();
    return std::any_of(lines.begin(), lines.end(),
                       [part](const log_record& line) { return line.text.find(part) != std::string::npos; });
}

void log_capture::clear()
{
    sink_->clear();
}

} // namespace test
