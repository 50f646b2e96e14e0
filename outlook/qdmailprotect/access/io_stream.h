#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/web/io_data.h"

#include <boost/noncopyable.hpp>

namespace web {

/// Random access to a store's stream without copying it: each access is a seek followed by a read or write. The
/// stream's seek position is shared state, so an object must not be used by two readers at once. Throws
/// error::HresultException if a call of the stream fails, and ComError with E_POINTER if the object has lost its stream
/// in a swap. Counts are truncated to their lower 32 bits.
class io_stream final : public io_data, private boost::noncopyable
{
public:
    /// Throws error::win32exception with code 87 if `stream` is null.
    explicit io_stream(ComPtr<IStream> stream);

    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    void size(std::uint64_t new_size) override;
    [[nodiscard]] std::uint64_t size() override;

private:
    friend class io_stream_probe; // lets tests remove the stream

    IStream& stream() const;
    void seek(std::uint64_t offset);

    ComPtr<IStream> stream_;
};

} // namespace web
