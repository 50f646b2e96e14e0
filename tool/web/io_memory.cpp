#include "tool/web/io_memory.h"

#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace web {

namespace {

std::uint64_t whole_pages(std::uint64_t capacity, std::uint64_t page)
{
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() / page * page;
    if (capacity > most) {
        throw error::win32exception(winapi::code::not_enough_memory, "tool\\web\\io_memory", __LINE__);
    }
    return (capacity / page + (capacity % page == 0 ? 0 : 1)) * page;
}

class memory_view final : public data_view
{
public:
    memory_view(const std::byte* address, std::uint64_t size) noexcept
        : address_(address)
        , size_(size)
    {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] const std::byte* address() const override { return address_; }

private:
    const std::byte* address_;
    std::uint64_t size_;
};

} // namespace

io_memory::io_memory(std::uint64_t capacity)
    : page_(memory_region::page_size())
    , region_(whole_pages(capacity, page_))
{}

std::uint64_t io_memory::read(std::uint64_t offset, void* destination, std::uint64_t count)
{
    if (destination == nullptr || count == 0 || offset >= size_) {
        return 0;
    }
    const std::uint64_t taken = std::min(count, size_ - offset);
    if (!region_.copy_out(offset, destination, taken)) {
        throw std::runtime_error("io_memory::read(): unexpected error");
    }
    return taken;
}

std::uint64_t io_memory::write(std::uint64_t offset, const void* source, std::uint64_t count)
{
    static constexpr write_errors errors{"io_memory::write(): offset out of range",
                                         "io_memory::write(): unexpected error"};
    return write_at(offset, source, count, errors);
}

std::uint64_t io_memory::append(const void* source, std::uint64_t count)
{
    static constexpr write_errors errors{"io_memory::append(): offset out of range",
                                         "io_memory::append(): unexpected error"};
    return write_at(size_, source, count, errors);
}

std::uint64_t io_memory::write_at(std::uint64_t offset, const void* source, std::uint64_t count,
                                  const write_errors& errors)
{
    if (source == nullptr || count == 0) {
        return 0;
    }
    if (offset >= capacity()) {
        throw std::out_of_range(errors.out_of_range);
    }
    const std::uint64_t taken = std::min(count, capacity() - offset);
    if (!region_.copy_in(offset, source, taken)) {
        throw std::runtime_error(errors.failed_copy);
    }
    size_ = std::max(size_, offset + taken);
    return taken;
}

void io_memory::swap(io_data& other)
{
    auto& same = dynamic_cast<io_memory&>(other);
    region_.swap(same.region_);
    std::swap(size_, same.size_);
}

void io_memory::size(std::uint64_t new_size)
{
    if (new_size > capacity()) {
        throw std::out_of_range("io_memory::size(): offset out of range");
    }
    size_ = new_size;
}

std::unique_ptr<data_view> io_memory::view()
{
    region_.make_present(size_);
    return std::make_unique<memory_view>(region_.base(), size_);
}

bool io_memory::memory_range(std::byte*& base, std::uint64_t& size)
{
    region_.make_present(size_);
    base = region_.base();
    size = size_;
    return true;
}

bool io_memory::file_name(std::wstring& /*name*/)
{
    return false;
}

} // namespace web
