#include "logging/sinks.h"

#include "tool/system/conversions.h"

#include <spdlog/details/os.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <filesystem>
#include <string_view>

namespace logging {

namespace {

constexpr const char* line_pattern = "%Y-%m-%d %H:%M:%S.%e %z %v";

/// Passes lines to one of the library's sinks, each with its own lock. Every line is flushed, so that the lines before
/// a crash are not lost.
class library_sink final : public line_sink
{
public:
    explicit library_sink(std::shared_ptr<spdlog::sinks::sink> sink)
        : sink_(std::move(sink))
    {
        sink_->set_formatter(std::make_unique<spdlog::pattern_formatter>(line_pattern));
    }

    void write(priority::level_type level, std::string_view logger_name, std::string_view text) override
    {
        const std::string line = written_line(level, logger_name, spdlog::details::os::thread_id(), text);
        sink_->log(spdlog::details::log_msg("", spdlog::level::info, line));
        sink_->flush();
    }

private:
    std::shared_ptr<spdlog::sinks::sink> sink_;
};

struct sink_opener
{
    std::shared_ptr<line_sink> operator()(const file_target& file) const
    {
        // The path is converted through UTF-8, because a path reads wide text by the C locale where its own text is
        // narrow.
        const std::string text = winapi::conv_to_char(file.path, winapi::code_page_utf8);
        const spdlog::filename_t name = std::filesystem::path(std::u8string(text.begin(), text.end())).native();
        return std::make_shared<library_sink>(
            std::make_shared<spdlog::sinks::rotating_file_sink_mt>(name, file.size, file.count));
    }
    std::shared_ptr<line_sink> operator()(const stderr_target& /*target*/) const
    {
        return std::make_shared<library_sink>(std::make_shared<spdlog::sinks::stderr_sink_mt>());
    }
    std::shared_ptr<line_sink> operator()(const debugger_target& /*target*/) const
    {
        return detail::open_debugger_sink();
    }
};

struct target_namer
{
    std::string operator()(const file_target& file) const
    {
        return "file=" + winapi::conv_to_char(file.path, winapi::code_page_utf8);
    }
    std::string operator()(const stderr_target& /*target*/) const { return "stderr"; }
    std::string operator()(const debugger_target& /*target*/) const { return "debugger"; }
};

void append_visible(std::string& line, char letter)
{
    const auto byte = static_cast<unsigned char>(letter);
    if (letter == '\n') {
        line.append("\\n");
    } else if (letter == '\r') {
        line.append("\\r");
    } else if ((byte < 0x20 && letter != '\t') || byte == 0x7F) {
        constexpr std::string_view digits = "0123456789abcdef";
        line.append("\\x").push_back(digits[byte >> 4U]);
        line.push_back(digits[byte & 0x0FU]);
    } else {
        line.push_back(letter);
    }
}

} // namespace

std::shared_ptr<line_sink> open_sink(const sink_target& target)
{
    return std::visit(sink_opener{}, target);
}

std::string target_text(const sink_target& target)
{
    return std::visit(target_namer{}, target);
}

std::string written_line(priority::level_type level, std::string_view logger_name, std::uint64_t thread,
                         std::string_view text)
{
    std::string line = std::to_string(level);
    line.reserve(line.size() + logger_name.size() + text.size() + 24);
    line.append(" ").append(logger_name).append(" ").append(std::to_string(thread)).append(" ");
    for (const char letter : text) {
        append_visible(line, letter);
    }
    return line;
}

} // namespace logging
