#include "outlook/qdmailprotect/access/io_stream.h"

#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

#include <utility>

namespace web {

namespace {

void check(HRESULT result, const char* text, int line)
{
    if (FAILED(result)) {
        throw error::HresultException(text, result, __FILE__, line);
    }
}

} // namespace

io_stream::io_stream(ComPtr<IStream> stream)
    : stream_(std::move(stream))
{
    if (!stream_) {
        throw error::win32exception(winapi::code::invalid_parameter, __FILE__, __LINE__);
    }
}

std::uint64_t io_stream::read(std::uint64_t offset, void* destination, std::uint64_t count)
{
    seek(offset);
    ULONG done = 0;
    check(stream().Read(destination, static_cast<ULONG>(count), &done), "IStream::Read failed", __LINE__);
    return done;
}

std::uint64_t io_stream::write(std::uint64_t offset, const void* source, std::uint64_t count)
{
    seek(offset);
    ULONG done = 0;
    check(stream().Write(source, static_cast<ULONG>(count), &done), "IStream::Write failed", __LINE__);
    return done;
}

std::uint64_t io_stream::append(const void* source, std::uint64_t count)
{
    return write(size(), source, count);
}

void io_stream::swap(io_data& other)
{
    stream_.swap(dynamic_cast<io_stream&>(other).stream_);
}

void io_stream::size(std::uint64_t new_size)
{
    ULARGE_INTEGER size{};
    size.QuadPart = new_size;
    check(stream().SetSize(size), "IStream::SetSize failed", __LINE__);
}

std::uint64_t io_stream::size()
{
    STATSTG stat{};
    check(stream().Stat(&stat, STATFLAG_NONAME), "IStream::Stat failed", __LINE__);
    return stat.cbSize.QuadPart;
}

IStream& io_stream::stream() const
{
    if (!stream_) {
        throw ComError(E_POINTER);
    }
    return *stream_;
}

void io_stream::seek(std::uint64_t offset)
{
    LARGE_INTEGER move{};
    move.QuadPart = static_cast<LONGLONG>(offset);
    check(stream().Seek(move, STREAM_SEEK_SET, nullptr), "IStream::Seek failed", __LINE__);
}

} // namespace web
