#include "tool/system/conversions.h"
#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/io_file.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace web {

namespace {

constexpr const char* source_path = "tool\\web\\io_file";

/// The kernel limits one transfer to a little below 2 GiB.
constexpr std::uint64_t largest_transfer = 0x40000000;

[[noreturn]] void raise(std::uint32_t code, int line)
{
    throw error::win32exception(code, source_path, line);
}

std::uint64_t performance_counter() noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

/// Refuses offsets that are negative as signed numbers, because the call would report an invalid parameter for them.
off_t to_offset(std::uint64_t offset)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        raise(winapi::code::negative_seek, __LINE__);
    }
    return static_cast<off_t>(offset);
}

std::uint64_t size_of(const winapi::file_handle& handle)
{
    struct stat state
    {};
    if (::fstat(handle.get(), &state) != 0) {
        raise(winapi::code_from_errno(errno), __LINE__);
    }
    return static_cast<std::uint64_t>(state.st_size);
}

/// Repeats `transfer(done, rest)` until all is transferred or a call transfers nothing.
template <typename Transfer>
std::uint64_t transfer_all(std::uint64_t count, const Transfer& transfer)
{
    std::uint64_t done = 0;
    while (done < count) {
        const ssize_t moved = transfer(done, std::min(count - done, largest_transfer));
        if (moved > 0) {
            done += static_cast<std::uint64_t>(moved);
        } else if (moved == 0) {
            break;
        } else if (errno != EINTR) {
            raise(winapi::code_from_errno(errno), __LINE__);
        }
    }
    return done;
}

class mapped_view final : public data_view
{
public:
    mapped_view(const winapi::file_handle& handle, std::uint64_t size)
        : size_(size)
    {
        if (size == 0) {
            raise(winapi::code::file_invalid, __LINE__);
        }
        address_ = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, handle.get(), 0);
        if (address_ == MAP_FAILED) {
            raise(winapi::code_from_errno(errno), __LINE__);
        }
    }
    mapped_view(const mapped_view&) = delete;
    mapped_view& operator=(const mapped_view&) = delete;
    ~mapped_view() override { ::munmap(address_, size_); }

    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] const std::byte* address() const override { return static_cast<const std::byte*>(address_); }

private:
    void* address_ = nullptr;
    std::uint64_t size_;
};

} // namespace

io_file::io_file(const std::wstring& directory)
    : directory_(directory)
{
    name_ = make_name(directory_, performance_counter());
    const std::string path = winapi::conv_to_char(name_, winapi::code_page_utf8);
    // All users may have write access to the folder, so a file or link that already exists under this name is refused.
    write_handle_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!write_handle_) {
        raise(winapi::code_from_errno(errno), __LINE__);
    }
    read_handle_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    const int error = errno;
    ::unlink(path.c_str());
    if (!read_handle_) {
        raise(winapi::code_from_errno(error), __LINE__);
    }
}

std::uint64_t io_file::read(std::uint64_t offset, void* destination, std::uint64_t count)
{
    to_offset(offset);
    return transfer_all(count, [&](std::uint64_t done, std::uint64_t rest) {
        return ::pread(read_handle_.get(), static_cast<char*>(destination) + done, rest, to_offset(offset + done));
    });
}

std::uint64_t io_file::write(std::uint64_t offset, const void* source, std::uint64_t count)
{
    to_offset(offset);
    return transfer_all(count, [&](std::uint64_t done, std::uint64_t rest) {
        return ::pwrite(write_handle_.get(), static_cast<const char*>(source) + done, rest, to_offset(offset + done));
    });
}

void io_file::size(std::uint64_t new_size)
{
    if (::ftruncate(write_handle_.get(), to_offset(new_size)) != 0) {
        raise(winapi::code_from_errno(errno), __LINE__);
    }
}

std::uint64_t io_file::size()
{
    const std::uint64_t size = size_of(write_handle_);
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        raise(winapi::code::invalid_data, __LINE__);
    }
    return size;
}

std::unique_ptr<data_view> io_file::view()
{
    return std::make_unique<mapped_view>(read_handle_, size_of(read_handle_));
}

} // namespace web
