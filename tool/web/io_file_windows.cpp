#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/io_file.h"

#include <algorithm>
#include <limits>

namespace web {

namespace {

constexpr const char* source_path = "tool\\web\\io_file";

/// One call takes a 32-bit count.
constexpr std::uint64_t largest_transfer = 0x40000000;

[[noreturn]] void raise_last(int line)
{
    throw error::win32exception(::GetLastError(), source_path, line);
}

std::uint64_t performance_counter() noexcept
{
    LARGE_INTEGER counter{};
    ::QueryPerformanceCounter(&counter);
    return static_cast<std::uint64_t>(counter.QuadPart);
}

void move_to(const winapi::file_handle& handle, std::uint64_t offset)
{
    auto high = static_cast<LONG>(offset >> 32U);
    const DWORD low = ::SetFilePointer(handle.get(), static_cast<LONG>(offset), &high, FILE_BEGIN);
    if (low == INVALID_SET_FILE_POINTER && ::GetLastError() != NO_ERROR) {
        raise_last(__LINE__);
    }
}

/// Repeats `transfer(done, rest, moved)` until all is transferred or a call transfers nothing.
template <typename Transfer>
std::uint64_t transfer_all(std::uint64_t count, const Transfer& transfer)
{
    std::uint64_t done = 0;
    while (done < count) {
        DWORD moved = 0;
        if (!transfer(done, static_cast<DWORD>(std::min(count - done, largest_transfer)), moved)) {
            raise_last(__LINE__);
        }
        if (moved == 0) {
            break;
        }
        done += moved;
    }
    return done;
}

class mapped_view final : public data_view
{
public:
    explicit mapped_view(const winapi::file_handle& handle)
    {
        DWORD high = 0;
        const DWORD low = ::GetFileSize(handle.get(), &high);
        if (low == INVALID_FILE_SIZE && ::GetLastError() != NO_ERROR) {
            raise_last(__LINE__);
        }
        size_ = (static_cast<std::uint64_t>(high) << 32U) | low;
        mapping_.reset(::CreateFileMappingW(handle.get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
        if (!mapping_) {
            raise_last(__LINE__);
        }
        address_ = ::MapViewOfFile(mapping_.get(), FILE_MAP_READ, 0, 0, 0);
        if (address_ == nullptr) {
            raise_last(__LINE__);
        }
    }
    mapped_view(const mapped_view&) = delete;
    mapped_view& operator=(const mapped_view&) = delete;
    ~mapped_view() override { ::UnmapViewOfFile(address_); }

    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] const std::byte* address() const override { return static_cast<const std::byte*>(address_); }

private:
    winapi::kernel_handle mapping_;
    void* address_ = nullptr;
    std::uint64_t size_ = 0;
};

} // namespace

io_file::io_file(const std::wstring& directory)
    : directory_(directory)
{
    name_ = make_name(directory_, performance_counter());
    write_handle_.reset(
        ::CreateFileW(name_.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                      FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!write_handle_) {
        raise_last(__LINE__);
    }
    read_handle_.reset(::CreateFileW(name_.c_str(), GENERIC_READ,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                     nullptr));
    if (!read_handle_) {
        raise_last(__LINE__);
    }
}

std::uint64_t io_file::read(std::uint64_t offset, void* destination, std::uint64_t count)
{
    move_to(read_handle_, offset);
    return transfer_all(count, [&](std::uint64_t done, DWORD rest, DWORD& moved) {
        return ::ReadFile(read_handle_.get(), static_cast<char*>(destination) + done, rest, &moved, nullptr) != 0;
    });
}

std::uint64_t io_file::write(std::uint64_t offset, const void* source, std::uint64_t count)
{
    move_to(write_handle_, offset);
    return transfer_all(count, [&](std::uint64_t done, DWORD rest, DWORD& moved) {
        return ::WriteFile(write_handle_.get(), static_cast<const char*>(source) + done, rest, &moved, nullptr) != 0;
    });
}

void io_file::size(std::uint64_t new_size)
{
    move_to(write_handle_, new_size);
    if (::SetEndOfFile(write_handle_.get()) == 0) {
        raise_last(__LINE__);
    }
}

std::uint64_t io_file::size()
{
    LARGE_INTEGER size{};
    if (::GetFileSizeEx(write_handle_.get(), &size) == 0) {
        raise_last(__LINE__);
    }
    if (size.HighPart != 0) {
        throw error::win32exception(winapi::code::invalid_data, source_path, __LINE__);
    }
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::unique_ptr<data_view> io_file::view()
{
    return std::make_unique<mapped_view>(read_handle_);
}

} // namespace web
