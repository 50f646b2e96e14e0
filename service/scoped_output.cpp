#include "service/scoped_output.h"

#include "logging/configuration.h"
#include "logging/sinks.h"
#include "service/journal.h"
#include "tool/system/conversions.h"

#include <exception>
#include <mutex>
#include <utility>

namespace logging {

/// Remembers the first failure of a sink.
class scoped_output::watched_sink final : public line_sink
{
public:
    explicit watched_sink(std::shared_ptr<line_sink> real)
        : real_(std::move(real))
    {}
    void write(priority::level_type level, std::string_view logger_name, std::string_view text) override
    {
        try {
            real_->write(level, logger_name, text);
        } catch (const std::exception& failure) {
            const std::lock_guard guard(lock_);
            failure_ = failure_.empty() ? failure.what() : failure_;
        }
    }
    [[nodiscard]] std::string failure() const
    {
        const std::lock_guard guard(lock_);
        return failure_;
    }

private:
    std::shared_ptr<line_sink> real_;
    mutable std::mutex lock_;
    std::string failure_;
};

std::string scoped_output::failure() const
{
    return sink_ ? sink_->failure() : std::string();
}

scoped_output::scoped_output() = default;

scoped_output::scoped_output(const std::string& file, std::optional<priority::level_type> level)
{
    open(file, level);
    begin();
}

void scoped_output::open(const std::string& file, std::optional<priority::level_type> level)
{
    if (file.empty() && !level) {
        return;
    }
    sink_target target = stderr_target{};
    if (!file.empty()) {
        file_target wanted;
        wanted.path = winapi::conv_to_wide(file, winapi::code_page_utf8);
        target = wanted;
    }
    const bool to_journal = file.empty() && service::standard_error_is_journal();
    sink_ = std::make_shared<watched_sink>(to_journal ? service::open_journal_sink() : open_sink(target));
    level_ = level.value_or(priority::course);
}

void scoped_output::begin()
{
    if (sink_) {
        log_manager::default_manager().add_sink(sink_, level_);
    }
}

scoped_output::~scoped_output()
{
    if (sink_) {
        log_manager::default_manager().remove_sink(sink_);
    }
}

} // namespace logging
