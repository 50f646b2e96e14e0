#include "logging/logging.h"
#include "logging/manager_state.h"
#include "tool/system/conversions.h"
#include "tool/system/once.h"

#include <algorithm>
#include <utility>

namespace logging {

constinit std::atomic<std::uint32_t> log_manager::enabled_{0};

log_stream::log_stream(const logger& owner, priority::level_type level) noexcept
    : owner_(&owner)
    , level_(level)
{}

log_stream::log_stream(log_stream&& other) noexcept
    : owner_(std::exchange(other.owner_, nullptr))
    , level_(std::exchange(other.level_, priority::off))
    , text_(std::move(other.text_))
{}

log_stream::~log_stream()
{
    if (owner_ != nullptr && level_ < priority::off) {
        const auto current = log_manager::default_manager().state_->current_routes();
        current->deliver(level_, owner_->name(), text_.view());
    }
}

logger::logger(std::string name)
    : name_(std::move(name))
{}

log_stream logger::stream(priority::level_type level) const noexcept
{
    return log_stream(*this, level < priority::off && enabled(level) ? level : priority::off);
}

priority::level_type routes::threshold_of(std::string_view logger_name) const
{
    priority::level_type level = configured.empty() ? 0 : configured_levels.of(logger_name);
    for (const auto& entry : added) {
        level = std::max(level, entry.threshold);
    }
    return level;
}

priority::level_type routes::highest_threshold() const
{
    priority::level_type level = configured.empty() ? 0 : configured_levels.highest();
    for (const auto& entry : added) {
        level = std::max(level, entry.threshold);
    }
    return level;
}

namespace {

void write_to(line_sink& sink, priority::level_type level, std::string_view logger_name, std::string_view text) noexcept
{
    try {
        sink.write(level, logger_name, text);
    } catch (...) {
        // A log that cannot be written must not disturb the program, and there is no other place to report the failure.
        return;
    }
}

} // namespace

void routes::deliver(priority::level_type level, std::string_view logger_name, std::string_view text) const noexcept
{
    for (const auto& entry : added) {
        if (level <= entry.threshold) {
            write_to(*entry.sink, level, logger_name, text);
        }
    }
    if (configured.empty() || level > configured_levels.of(logger_name)) {
        return;
    }
    for (const auto& entry : configured) {
        write_to(*entry.sink, level, logger_name, text);
    }
}

std::shared_ptr<const routes> log_manager::state::current_routes()
{
    const std::lock_guard guard(lock);
    return current;
}

void log_manager::state::install(std::shared_ptr<const routes> next)
{
    const std::lock_guard guard(lock);
    for (const auto& entry : loggers) {
        entry.second->threshold(next->threshold_of(entry.first));
    }
    enabled_.store(next->highest_threshold(), std::memory_order_relaxed);
    // The replaced object is destroyed outside the lock, because closing a file may take long.
    current.swap(next);
}

log_manager::log_manager()
    : state_(std::make_unique<state>())
{}

log_manager::~log_manager() = default;

log_manager& log_manager::default_manager()
{
    // Never destroyed, because threads may log until the process has ended.
    struct holder
    {
        log_manager manager;
    };
    static auto& kept = *std::make_unique<holder>().release();
    return kept.manager;
}

logger& log_manager::get_logger(std::string_view name)
{
    const std::lock_guard guard(state_->lock);
    const auto found = state_->loggers.find(name);
    if (found != state_->loggers.end()) {
        return *found->second;
    }
    auto made = std::make_unique<logger>(std::string(name));
    made->threshold(state_->current->threshold_of(name));
    return *state_->loggers.emplace(std::string(name), std::move(made)).first->second;
}

void log_manager::add_sink(std::shared_ptr<line_sink> sink, priority::level_type threshold)
{
    const std::lock_guard guard(state_->change_lock);
    auto next = std::make_shared<routes>(*state_->current_routes());
    next->added.push_back({std::move(sink), std::min(threshold, priority::off - 1)});
    state_->install(std::move(next));
}

void log_manager::remove_sink(const std::shared_ptr<line_sink>& sink)
{
    const std::lock_guard guard(state_->change_lock);
    auto next = std::make_shared<routes>(*state_->current_routes());
    std::erase_if(next->added, [&sink](const auto& entry) { return entry.sink == sink; });
    state_->install(std::move(next));
}

std::string narrow(std::wstring_view text)
{
    return winapi::conv_to_char(text, winapi::code_page_ansi);
}

namespace {

/// A logger that is fetched at its first use, on any thread.
struct fetched_logger
{
    const char* name;
    winapi::once_flag fetched{};
    logger* kept = nullptr;

    logger& get()
    {
        winapi::once(fetched, [this] { kept = &log_manager::default_manager().get_logger(name); });
        return *kept;
    }
};

constinit fetched_logger outlook_logger{"outlook"};
constinit fetched_logger icapclnt_logger{"icapclnt"};
constinit fetched_logger icap_logger{"icap"};
constinit fetched_logger wpx_logger{"wpx"};

} // namespace

logger& outlook_log()
{
    return outlook_logger.get();
}

logger& icapclnt_log()
{
    return icapclnt_logger.get();
}

logger& icap_log()
{
    return icap_logger.get();
}

logger& wpx_log()
{
    return wpx_logger.get();
}

} // namespace logging
