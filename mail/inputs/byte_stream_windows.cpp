#include "mail/inputs/byte_stream.h"

#include <platform/handles.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

[[noreturn]] void refuse_stream(DWORD error)
{
    throw std::runtime_error(std::system_category().message(static_cast<int>(error)));
}

class handle_stream final : public byte_stream
{
public:
    /// A null `owned` specifies standard input.
    explicit handle_stream(winapi::file_handle owned)
        : owned_(std::move(owned))
        , handle_(owned_ ? owned_.get() : GetStdHandle(STD_INPUT_HANDLE))
    {}

    std::size_t read(char* destination, std::size_t count) override
    {
        constexpr std::size_t largest = 1U << 20U;
        DWORD got = 0;
        do {
            if (ReadFile(handle_, destination, static_cast<DWORD>(std::min(count, largest)), &got, nullptr) == 0) {
                const DWORD error = GetLastError();
                if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF) { // the writer is done
                    return 0;
                }
                refuse_stream(error);
            }
        } while (got == 0 && GetFileType(handle_) == FILE_TYPE_PIPE); // a write of no bytes is not the end
        return got;
    }
    [[nodiscard]] bool is_regular() const override { return owned_ && GetFileType(handle_) == FILE_TYPE_DISK; }

private:
    winapi::file_handle owned_;
    HANDLE handle_;
};

} // namespace

std::unique_ptr<byte_stream> open_stream(const std::filesystem::path& file, const stream_limits&)
{
    if (file == standard_input_name) {
        return std::make_unique<handle_stream>(winapi::file_handle());
    }
    winapi::file_handle opened(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!opened) {
        refuse_stream(GetLastError());
    }
    return std::make_unique<handle_stream>(std::move(opened));
}

} // namespace host
