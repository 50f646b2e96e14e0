#include "mail/mime/text/gmime_streams.h"

#include <cerrno>
#include <utility>

namespace {

/// What a stream is made of; one of both ends is there.
struct pipe_end
{
    host::content_ptr content;
    host::document_sink sink;
    std::shared_ptr<host::stream_failure> failure;
    bool at_start = true;
    bool ended = false;
};

struct HostPipeStream
{
    GMimeStream parent;
    pipe_end* end;
};

struct HostPipeStreamClass
{
    GMimeStreamClass parent;
};

G_DEFINE_TYPE(HostPipeStream, host_pipe_stream, GMIME_TYPE_STREAM)

pipe_end& end_of(void* stream)
{
    return *static_cast<HostPipeStream*>(stream)->end;
}

/// The border to the C library: what `work` raises is kept, and the library gets its own way of telling. Behind a
/// failure nothing more is done, however the library goes on.
template <typename Work>
auto kept(pipe_end& end, Work&& work) noexcept -> decltype(work())
{
    if (end.failure->first) {
        errno = EIO;
        return -1;
    }
    try {
        return work();
    } catch (...) {
        end.failure->first = std::current_exception();
        errno = EIO;
        return -1;
    }
}

ssize_t stream_read(GMimeStream* stream, char* buffer, size_t count)
{
    pipe_end& end = end_of(stream);
    return kept(end, [&]() -> ssize_t {
        if (!end.content) {
            errno = EBADF;
            return -1;
        }
        const std::size_t got = end.content->read(buffer, count);
        end.at_start = false;
        end.ended = got == 0;
        stream->position += static_cast<gint64>(got);
        return static_cast<ssize_t>(got);
    });
}

ssize_t stream_write(GMimeStream* stream, const char* buffer, size_t count)
{
    pipe_end& end = end_of(stream);
    return kept(end, [&]() -> ssize_t {
        if (!end.sink) {
            errno = EBADF;
            return -1;
        }
        end.sink({buffer, count});
        stream->position += static_cast<gint64>(count);
        return static_cast<ssize_t>(count);
    });
}

int stream_nothing(GMimeStream*)
{
    return 0;
}

gboolean stream_eos(GMimeStream* stream)
{
    return end_of(stream).ended ? TRUE : FALSE;
}

int stream_reset(GMimeStream* stream)
{
    pipe_end& end = end_of(stream);
    return kept(end, [&] {
        if (end.content && !end.at_start) {
            end.content->rewind();
        }
        end.at_start = true;
        end.ended = false;
        stream->position = 0;
        return 0;
    });
}

gint64 stream_seek(GMimeStream* stream, gint64 offset, GMimeSeekWhence whence)
{
    if (whence == GMIME_STREAM_SEEK_SET && offset == 0) {
        return stream_reset(stream);
    }
    errno = ESPIPE;
    return -1;
}

gint64 stream_tell(GMimeStream* stream)
{
    return stream->position;
}

gint64 stream_length(GMimeStream*)
{
    return -1; // nobody knows before the end
}

GMimeStream* stream_substream(GMimeStream*, gint64, gint64)
{
    return nullptr;
}

void stream_finalize(GObject* object)
{
    delete &end_of(object); // owned by the C object, which knows no destructors
    G_OBJECT_CLASS(host_pipe_stream_parent_class)->finalize(object);
}

void host_pipe_stream_class_init(HostPipeStreamClass* type)
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

void host_pipe_stream_init(HostPipeStream* stream)
{
    stream->end = new pipe_end;
}

host::gobject_ptr<GMimeStream> make_stream(pipe_end end)
{
    auto* result = static_cast<HostPipeStream*>(g_object_new(host_pipe_stream_get_type(), nullptr));
    *result->end = std::move(end);
    g_mime_stream_construct(&result->parent, 0, -1);
    return host::gobject_ptr<GMimeStream>(&result->parent);
}

} // namespace

namespace host {

gobject_ptr<GMimeStream> make_source_stream(content_ptr content, std::shared_ptr<stream_failure> failure)
{
    return make_stream({std::move(content), nullptr, std::move(failure)});
}

gobject_ptr<GMimeStream> make_sink_stream(document_sink sink, std::shared_ptr<stream_failure> failure)
{
    return make_stream({nullptr, std::move(sink), std::move(failure)});
}

} // namespace host
