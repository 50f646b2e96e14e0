#pragma once

#include "logging/line_text.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// Named loggers with numeric levels. A line is built only if its level is enabled, and reaches the sinks as one unit.
/// Thread-safe.
namespace logging {

namespace priority {
using level_type = std::uint32_t;

inline constexpr level_type error = 200;    ///< failed calls, failed loads, refused items
inline constexpr level_type decision = 300; ///< notable decisions
inline constexpr level_type course = 400;   ///< the steps of a check
inline constexpr level_type detail = 500;   ///< identifiers, cache hits, protocol steps
inline constexpr level_type off = 600;      ///< a stream that is switched off; nothing is logged at this level
} // namespace priority

class logger;

/// Receives finished lines. write() may be called from several threads at once and must not log.
class line_sink
{
public:
    virtual void write(priority::level_type level, std::string_view logger_name, std::string_view text) = 0;
    virtual ~line_sink() = default;
};

/// One line under construction; the destructor passes it to the sinks. Local to a statement, never shared.
class log_stream
{
public:
    log_stream(const logger& owner, priority::level_type level) noexcept;
    log_stream(log_stream&& other) noexcept;
    log_stream(const log_stream&) = delete;
    log_stream& operator=(const log_stream&) = delete;
    log_stream& operator=(log_stream&&) = delete;
    ~log_stream();

    /// Returns the level of the line, or priority::off if the line is discarded.
    [[nodiscard]] priority::level_type level() const noexcept { return level_; }
    /// Returns the text stream, which may be used only if level() is not priority::off.
    [[nodiscard]] line_text& stream() noexcept { return text_; }

private:
    const logger* owner_;
    priority::level_type level_;
    line_text text_;
};

/// A named source of lines. Made by log_manager::get_logger; it exists until the process ends.
class logger
{
public:
    explicit logger(std::string name);
    logger(const logger&) = delete;
    logger& operator=(const logger&) = delete;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Returns true if a line at that level would be kept: the level is not above the threshold of this logger.
    [[nodiscard]] bool enabled(priority::level_type level) const noexcept
    {
        return level <= threshold_.load(std::memory_order_relaxed);
    }
    /// Returns a stream for one line; its level() is priority::off if the level is not enabled.
    [[nodiscard]] log_stream stream(priority::level_type level) const noexcept;
    /// Lines above this level are dropped; 0 drops all. In addition, each sink drops lines above its own threshold. A
    /// value set here is in force until sinks or configuration change the next time.
    void threshold(priority::level_type level) noexcept { threshold_.store(level, std::memory_order_relaxed); }

private:
    std::string name_;
    std::atomic<priority::level_type> threshold_{0};
};

/// The process's loggers and sinks.
class log_manager
{
public:
    /// 0 if no sink is installed or all thresholds are 0; logging code is then skipped.
    static std::atomic<std::uint32_t> enabled_;

    static log_manager& default_manager();

    /// Returns the logger of that name, made at the first call. The reference is valid until the process ends.
    logger& get_logger(std::string_view name);

    /// Adds a sink that receives the lines of all loggers up to `threshold`, and raises the loggers' thresholds
    /// accordingly. Used by tests and embedders; configurator manages the sinks of a configuration. The sink is owned
    /// until remove_sink(); a line that another thread is passing on at that moment may still reach it afterwards.
    void add_sink(std::shared_ptr<line_sink> sink, priority::level_type threshold);
    void remove_sink(const std::shared_ptr<line_sink>& sink);

    log_manager(const log_manager&) = delete;
    log_manager& operator=(const log_manager&) = delete;

private:
    friend class log_stream;
    friend class configurator;
    log_manager();
    ~log_manager();
    struct state;
    std::unique_ptr<state> state_;
};

/// Applies a configuration text; docs/logging.md specifies the grammar.
class configurator
{
public:
    static configurator& default_configurator();

    /// Replaces the configured thresholds and sinks by those of the text. Throws std::invalid_argument that names the
    /// invalid part; the configuration in force is then unchanged.
    void configure(std::wstring_view text);
};

/// Returns wide text for a line, in the ANSI code page. Throws std::runtime_error "conv_to_char called wcstombs() and
/// failed." if the conversion fails.
std::string narrow(std::wstring_view text);

/// The four loggers of the system, each fetched once.
logger& outlook_log();  ///< "outlook": add-in, message check, settings, verdicts
logger& icapclnt_log(); ///< "icapclnt": ICAP client sessions and pool
logger& icap_log();     ///< "icap": ICAP protocol processor and protocol engine
logger& wpx_log();      ///< "wpx": asynchronous sockets and I/O objects

} // namespace logging

/// Writes one log line: LOG_LINE(logging::wpx_log(), 500, "read " << count << " bytes"). The text is not evaluated if
/// the level is off.
#define LOG_LINE(log, line_level, ...)                                                                                 \
    do {                                                                                                               \
        if (::logging::log_manager::enabled_.load(std::memory_order_relaxed) != 0) {                                   \
            const auto& log_line_logger = (log);                                                                       \
            if (log_line_logger.enabled(line_level)) {                                                                 \
                auto log_line_stream = log_line_logger.stream(line_level);                                             \
                if (log_line_stream.level() != ::logging::priority::off) {                                             \
                    log_line_stream.stream() << __VA_ARGS__;                                                           \
                }                                                                                                      \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)
