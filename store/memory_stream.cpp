#include "store/memory_stream.h"

#include "store/guard.h"
#include "store/stream_object.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <typeinfo>

namespace host {

namespace {

/// Bytes in memory without a fixed capacity.
class growing_memory final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        return offset < bytes_.size() ? bytes_.copy(static_cast<char*>(destination), count, offset) : 0;
    }
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override
    {
        if (offset + count > bytes_.size()) {
            reserve(offset + count);
            bytes_.resize(offset + count);
        }
        std::memcpy(bytes_.data() + offset, source, count);
        return count;
    }
    std::uint64_t append(const void* source, std::uint64_t count) override { return write(size(), source, count); }
    void swap(web::io_data& other) override { bytes_.swap(dynamic_cast<growing_memory&>(other).bytes_); }
    void size(std::uint64_t new_size) override { bytes_.resize(new_size); }
    [[nodiscard]] std::uint64_t size() override { return bytes_.size(); }

private:
    /// Doubles the capacity, so that many small writes copy each byte only a few times.
    void reserve(std::uint64_t wanted)
    {
        if (wanted > bytes_.capacity()) {
            bytes_.reserve(std::max<std::uint64_t>(wanted, bytes_.capacity() * 2));
        }
    }

    std::string bytes_;
};

} // namespace

HRESULT create_memory_stream(IStream** stream)
{
    *stream = nullptr;
    return guarded([&] {
        *stream = MakeCom<stream_object>(std::make_shared<growing_memory>(), true).detach();
        return HRESULT{S_OK};
    });
}

} // namespace host
