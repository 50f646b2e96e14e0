#include "mail/inputs/byte_stream.h"

#include <platform/handles.h>

#include <cerrno>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds between_questions{200};

[[noreturn]] void refuse_stream(int error)
{
    throw std::runtime_error(std::generic_category().message(error));
}

/// Returns true for a pipe that has a name in a file system. One without a name always had a writer.
bool is_named_pipe(int number, const struct stat& status)
{
    struct statfs system = {};
    return S_ISFIFO(status.st_mode) && ::fstatfs(number, &system) == 0 && system.f_type != PIPEFS_MAGIC;
}

class descriptor_stream final : public byte_stream
{
public:
    descriptor_stream(winapi::file_handle file, bool has_name, stream_limits limits)
        : file_(std::move(file))
        , limits_(std::move(limits))
        , opened_(clock::now())
    {
        struct stat status = {};
        if (::fstat(file_.get(), &status) != 0) {
            refuse_stream(errno);
        }
        if (S_ISDIR(status.st_mode)) {
            refuse_stream(EISDIR);
        }
        is_regular_ = has_name && S_ISREG(status.st_mode);
        is_limited_ = is_named_pipe(file_.get(), status);
    }

    std::size_t read(char* destination, std::size_t count) override
    {
        for (;;) {
            if (!is_regular_) {
                wait();
            }
            const ssize_t got = ::read(file_.get(), destination, count);
            if (got >= 0) {
                is_limited_ = false;
                return static_cast<std::size_t>(got);
            }
            if (errno != EINTR && errno != EAGAIN) {
                refuse_stream(errno);
            }
        }
    }
    [[nodiscard]] bool is_regular() const override { return is_regular_; }

private:
    /// Waits until a read returns at once. A pipe that never had a writer has neither bytes nor an end.
    void wait() const
    {
        for (;;) {
            pollfd question{file_.get(), POLLIN, 0};
            const int answer = ::poll(&question, 1, static_cast<int>(between_questions.count()));
            if (answer > 0) {
                return;
            }
            if (answer < 0 && errno != EINTR) {
                refuse_stream(errno);
            }
            if (limits_.is_given_up && limits_.is_given_up()) {
                throw reading_given_up("interrupted");
            }
            if (is_limited_ && clock::now() - opened_ >= limits_.first_byte) {
                const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limits_.first_byte);
                throw std::runtime_error("nobody wrote to this pipe within " + std::to_string(seconds.count()) +
                                         " seconds");
            }
        }
    }

    winapi::file_handle file_;
    stream_limits limits_;
    clock::time_point opened_;
    bool is_regular_ = false;
    bool is_limited_ = false;
};

} // namespace

std::unique_ptr<byte_stream> open_stream(const std::filesystem::path& file, const stream_limits& limits)
{
    const bool has_name = file != standard_input_name;
    winapi::file_handle opened(!has_name ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                         : ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!opened) {
        refuse_stream(errno);
    }
    return std::make_unique<descriptor_stream>(std::move(opened), has_name, limits);
}

} // namespace host
