#include "mail/mime/reading/bytes_stream.h"

#include <cerrno>
#include <exception>
#include <utility>

namespace {

struct HostBytesStream
{
    GMimeStream parent;
    host::bytes_ptr* source;
};

struct HostBytesStreamClass
{
    GMimeStreamClass parent;
};

G_DEFINE_TYPE(HostBytesStream, host_bytes_stream, GMIME_TYPE_STREAM)

HostBytesStream* self_of(void* stream)
{
    return static_cast<HostBytesStream*>(stream);
}

gint64 end_of(GMimeStream* stream)
{
    const auto size = static_cast<gint64>((*self_of(stream)->source)->size());
    return stream->bound_end == -1 || stream->bound_end > size ? size : stream->bound_end;
}

ssize_t stream_read(GMimeStream* stream, char* buffer, size_t count)
{
    const gint64 end = end_of(stream);
    if (stream->position >= end) {
        return 0;
    }
    const auto left = static_cast<size_t>(end - stream->position);
    try {
        const std::size_t got =
            (*self_of(stream)->source)
                ->read(static_cast<std::uint64_t>(stream->position), buffer, count < left ? count : left);
        stream->position += static_cast<gint64>(got);
        return static_cast<ssize_t>(got);
    } catch (const std::exception&) { // a C library: errors are reported by its own means
        errno = EIO;
        return -1;
    }
}

ssize_t stream_write(GMimeStream*, const char*, size_t)
{
    errno = EBADF;
    return -1;
}

int stream_nothing(GMimeStream*)
{
    return 0;
}

gboolean stream_eos(GMimeStream* stream)
{
    return stream->position >= end_of(stream) ? TRUE : FALSE;
}

gint64 stream_seek(GMimeStream* stream, gint64 offset, GMimeSeekWhence whence)
{
    gint64 target = offset;
    if (whence == GMIME_STREAM_SEEK_CUR) {
        target += stream->position;
    } else if (whence == GMIME_STREAM_SEEK_END) {
        target += end_of(stream);
    }
    if (target < stream->bound_start || target > end_of(stream)) {
        errno = EINVAL;
        return -1;
    }
    stream->position = target;
    return target;
}

int stream_reset(GMimeStream* stream)
{
    stream->position = stream->bound_start;
    return 0;
}

gint64 stream_tell(GMimeStream* stream)
{
    return stream->position;
}

gint64 stream_length(GMimeStream* stream)
{
    return end_of(stream) - stream->bound_start;
}

GMimeStream* stream_substream(GMimeStream* stream, gint64 start, gint64 end)
{
    auto* result = self_of(g_object_new(host_bytes_stream_get_type(), nullptr));
    *result->source = *self_of(stream)->source;
    g_mime_stream_construct(&result->parent, start, end);
    return &result->parent;
}

void stream_finalize(GObject* object)
{
    delete self_of(object)->source; // owned by the C object, which calls no destructors
    G_OBJECT_CLASS(host_bytes_stream_parent_class)->finalize(object);
}

void host_bytes_stream_class_init(HostBytesStreamClass* type)
{
    G_OBJECT_CLASS(type)->finalize = stream_finalize;
    type->parent.read = stream_read;
    type->parent.write = stream_write;
    type->parent.flush = stream_nothing;
    type->parent.close = stream_nothing;
    type->parent.eos = stream_eos;
    type->parent.reset = stream_reset;
    type->parent.seek = stream_seek;
    type->parent.tell = stream_tell;
    type->parent.length = stream_length;
    type->parent.substream = stream_substream;
}

void host_bytes_stream_init(HostBytesStream* stream)
{
    stream->source = new host::bytes_ptr;
}

/// A range of other bytes.
class window_bytes final : public host::bytes
{
public:
    window_bytes(host::bytes_ptr source, std::uint64_t offset, std::uint64_t size)
        : source_(std::move(source))
        , offset_(offset)
        , size_(size)
    {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_) {
            return 0;
        }
        const std::uint64_t left = size_ - offset;
        return source_->read(offset_ + offset, destination, count < left ? count : static_cast<std::size_t>(left));
    }

private:
    host::bytes_ptr source_;
    std::uint64_t offset_;
    std::uint64_t size_;
};

} // namespace

namespace host {

gobject_ptr<GMimeStream> make_bytes_stream(bytes_ptr source)
{
    auto* result = self_of(g_object_new(host_bytes_stream_get_type(), nullptr));
    *result->source = std::move(source);
    g_mime_stream_construct(&result->parent, 0, -1);
    return gobject_ptr<GMimeStream>(&result->parent);
}

bytes_ptr bytes_behind(GMimeStream* stream)
{
    if (!stream || !G_TYPE_CHECK_INSTANCE_TYPE(stream, host_bytes_stream_get_type())) {
        return nullptr;
    }
    const gint64 length = stream_length(stream);
    return std::make_shared<const window_bytes>(*self_of(stream)->source,
                                                static_cast<std::uint64_t>(stream->bound_start),
                                                length > 0 ? static_cast<std::uint64_t>(length) : 0);
}

} // namespace host
