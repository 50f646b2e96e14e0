#include "logging/sinks.h"
#include "service/journal.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace service {

namespace {

class journal_sink final : public logging::line_sink
{
public:
    void write(logging::priority::level_type level, std::string_view logger_name, std::string_view text) override
    {
        std::string line(journal_prefix(level));
        line.append(logging::written_line(level, logger_name, static_cast<std::uint64_t>(::gettid()), text))
            .push_back('\n');
        const std::lock_guard guard(lock_);
        (void)std::fwrite(line.data(), 1, line.size(), stderr);
        (void)std::fflush(stderr);
    }

private:
    std::mutex lock_;
};

} // namespace

bool standard_error_is_journal()
{
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat status
    {};
    return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
           stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

std::shared_ptr<logging::line_sink> open_journal_sink()
{
    return std::make_shared<journal_sink>();
}

} // namespace service
