#pragma once

#include <platform/handles.h>

#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace host::test {

/// Replaces the standard input of this process by a text for the lifetime of the object.
class standard_input_text
{
public:
    explicit standard_input_text(std::string_view text)
        : former_(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0))
        , text_(std::tmpfile())
    {
        if (!text_ || std::fwrite(text.data(), 1, text.size(), text_) != text.size() || std::fflush(text_) != 0 ||
            ::lseek(::fileno(text_), 0, SEEK_SET) != 0 || ::dup2(::fileno(text_), STDIN_FILENO) < 0) {
            throw std::runtime_error("standard input cannot be replaced");
        }
    }
    standard_input_text(const standard_input_text&) = delete;
    standard_input_text& operator=(const standard_input_text&) = delete;
    ~standard_input_text()
    {
        if (former_) {
            ::dup2(former_.get(), STDIN_FILENO);
        } else {
            ::close(STDIN_FILENO);
        }
        static_cast<void>(std::fclose(text_));
    }

private:
    winapi::file_handle former_;
    std::FILE* text_;
};

} // namespace host::test
