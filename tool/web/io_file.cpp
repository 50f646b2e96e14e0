#include "tool/web/io_file.h"

#include "tool/system/conversions.h"

#include <atomic>

namespace web {

namespace {

std::atomic<std::uint32_t> last_file_number{0};

} // namespace

io_file::~io_file() = default;

std::wstring io_file::make_name(const std::wstring& directory, std::uint64_t counter)
{
    const std::string unique = winapi::to_hex(counter >> 32U) + "." + winapi::to_hex(counter & 0xFFFFFFFFU) + "#" +
                               std::to_string(last_file_number.fetch_add(1) + 1);
    return directory + std::wstring(unique.begin(), unique.end());
}

std::uint64_t io_file::append(const void* source, std::uint64_t count)
{
    return write(size(), source, count);
}

void io_file::swap(io_data& other)
{
    auto& same = dynamic_cast<io_file&>(other);
    write_handle_.swap(same.write_handle_);
    read_handle_.swap(same.read_handle_);
    directory_.swap(same.directory_);
    name_.swap(same.name_);
}

bool io_file::memory_range(std::byte*& /*base*/, std::uint64_t& /*size*/)
{
    return false;
}

bool io_file::file_name(std::wstring& name)
{
    name = name_;
    return true;
}

} // namespace web
