#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/web/io_data.h"

#include <boost/noncopyable.hpp>

namespace web {

/// Random access to a store's stream, which is not copied: each access is a seek and a read or write. The stream's
/// position is shared state, so that one object serves one reader at a time. A failed call of the stream raises
/// error::HresultException; an object that lost its stream in a swap raises ComError with E_POINTER. Counts are cut to
/// their lower 32 bits.
class io_stream final : public io_data, private boost::noncopyable
{
public:
    /// A null stream raises error::win32exception with code 87.
    explicit io_stream(ComPtr<IStream> stream);

    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    void size(std::uint64_t new_size) override;
    [[nodiscard]] std::uint64_t size() override;

private:
    friend class io_stream_probe; // tests take the stream away

    IStream& stream() const;
    void seek(std::uint64_t offset);

    ComPtr<IStream> stream_;
};

} // namespace web
