#include "mail/mime/text/gmime_streams.h"

#include "store/joined_bytes.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

/// What a stream is made of. Positions are those of the GMimeStream that is passed along. What a function raises makes
/// the operation fail.
class stream_end
{
public:
    virtual ssize_t read(GMimeStream&, char*, std::size_t) { return refused(EBADF); }
    virtual ssize_t write(GMimeStream&, std::string_view) { return refused(EBADF); }
    virtual gint64 seek(GMimeStream& stream, gint64 offset, GMimeSeekWhence whence) = 0;
    virtual int reset(GMimeStream& stream) = 0;
    [[nodiscard]] virtual bool at_end(const GMimeStream& stream) const = 0;
    /// -1 if nobody knows before the end.
    [[nodiscard]] virtual gint64 length(const GMimeStream&) const { return -1; }
    /// Null if there are no substreams.
    [[nodiscard]] virtual std::unique_ptr<stream_end> substream_end() const { return nullptr; }
    /// False if no further operation may be done.
    [[nodiscard]] virtual bool is_sound() const noexcept { return true; }
    /// Takes the exception of the operation that is being handled.
    virtual void failed() noexcept {}
    virtual ~stream_end() = default;

protected:
    static int refused(int reason)
    {
        errno = reason;
        return -1;
    }
};

class shared_bytes final : public stream_end
{
public:
    explicit shared_bytes(host::bytes_ptr source)
        : source_(std::move(source))
    {}

    ssize_t read(GMimeStream& stream, char* buffer, std::size_t count) override
    {
        const gint64 left = end_of(stream) - stream.position;
        if (left <= 0) {
            return 0;
        }
        const std::size_t got = source_->read(static_cast<std::uint64_t>(stream.position), buffer,
                                              std::min(count, static_cast<std::size_t>(left)));
        stream.position += static_cast<gint64>(got);
        return static_cast<ssize_t>(got);
    }
    gint64 seek(GMimeStream& stream, gint64 offset, GMimeSeekWhence whence) override
    {
        gint64 target = offset;
        if (whence == GMIME_STREAM_SEEK_CUR) {
            target += stream.position;
        } else if (whence == GMIME_STREAM_SEEK_END) {
            target += end_of(stream);
        }
        if (target < stream.bound_start || target > end_of(stream)) {
            return refused(EINVAL);
        }
        stream.position = target;
        return target;
    }
    int reset(GMimeStream& stream) override
    {
        stream.position = stream.bound_start;
        return 0;
    }
    [[nodiscard]] bool at_end(const GMimeStream& stream) const override { return stream.position >= end_of(stream); }
    [[nodiscard]] gint64 length(const GMimeStream& stream) const override
    {
        return end_of(stream) - stream.bound_start;
    }
    [[nodiscard]] std::unique_ptr<stream_end> substream_end() const override
    {
        return std::make_unique<shared_bytes>(source_);
    }
    [[nodiscard]] const host::bytes_ptr& source() const { return source_; }

private:
    [[nodiscard]] gint64 end_of(const GMimeStream& stream) const
    {
        const auto size = static_cast<gint64>(source_->size());
        return stream.bound_end == -1 ? size : std::min(stream.bound_end, size);
    }

    host::bytes_ptr source_;
};

/// One direction, from the beginning on. Behind a failure nothing more is done, however the library goes on.
class pipe_end : public stream_end
{
public:
    explicit pipe_end(std::shared_ptr<host::stream_failure> failure)
        : failure_(std::move(failure))
    {}
    gint64 seek(GMimeStream& stream, gint64 offset, GMimeSeekWhence whence) override
    {
        return whence == GMIME_STREAM_SEEK_SET && offset == 0 ? reset(stream) : refused(ESPIPE);
    }
    int reset(GMimeStream& stream) override
    {
        stream.position = 0;
        return 0;
    }
    [[nodiscard]] bool at_end(const GMimeStream&) const override { return false; }
    [[nodiscard]] bool is_sound() const noexcept override { return !failure_->first; }
    void failed() noexcept override { failure_->first = std::current_exception(); }

private:
    std::shared_ptr<host::stream_failure> failure_;
};

class content_end final : public pipe_end
{
public:
    content_end(host::content_ptr content, std::shared_ptr<host::stream_failure> failure)
        : pipe_end(std::move(failure))
        , content_(std::move(content))
    {}
    ssize_t read(GMimeStream& stream, char* buffer, std::size_t count) override
    {
        const std::size_t got = content_->read(buffer, count);
        at_start_ = false;
        ended_ = got == 0;
        stream.position += static_cast<gint64>(got);
        return static_cast<ssize_t>(got);
    }
    int reset(GMimeStream& stream) override
    {
        if (!at_start_) {
            content_->rewind();
        }
        at_start_ = true;
        ended_ = false;
        return pipe_end::reset(stream);
    }
    [[nodiscard]] bool at_end(const GMimeStream&) const override { return ended_; }

private:
    host::content_ptr content_;
    bool at_start_ = true;
    bool ended_ = false;
};

class sink_end final : public pipe_end
{
public:
    sink_end(host::document_sink sink, std::shared_ptr<host::stream_failure> failure)
        : pipe_end(std::move(failure))
        , sink_(std::move(sink))
    {}
    ssize_t write(GMimeStream& stream, std::string_view piece) override
    {
        sink_(piece);
        stream.position += static_cast<gint64>(piece.size());
        return static_cast<ssize_t>(piece.size());
    }

private:
    host::document_sink sink_;
};

// The class as the library wants it: functions in C that pass each call on.

struct HostStream
{
    GMimeStream parent;
    stream_end* end; ///< owned; the C object knows no destructors
};

struct HostStreamClass
{
    GMimeStreamClass parent;
};

G_DEFINE_TYPE(HostStream, host_stream, GMIME_TYPE_STREAM)

stream_end& end_of(void* stream)
{
    return *static_cast<HostStream*>(stream)->end;
}

/// The border to the C library, which gets its own way of reporting.
template <typename Work>
auto guarded(GMimeStream* stream, Work&& work) noexcept -> decltype(work(end_of(stream)))
{
    stream_end& end = end_of(stream);
    if (end.is_sound()) {
        try {
            return work(end);
        } catch (...) {
            end.failed();
        }
    }
    errno = EIO;
    return -1;
}

ssize_t stream_read(GMimeStream* stream, char* buffer, size_t count)
{
    return guarded(stream, [&](stream_end& end) { return end.read(*stream, buffer, count); });
}

ssize_t stream_write(GMimeStream* stream, const char* buffer, size_t count)
{
    return guarded(stream, [&](stream_end& end) { return end.write(*stream, {buffer, count}); });
}

gint64 stream_seek(GMimeStream* stream, gint64 offset, GMimeSeekWhence whence)
{
    return guarded(stream, [&](stream_end& end) { return end.seek(*stream, offset, whence); });
}

int stream_reset(GMimeStream* stream)
{
    return guarded(stream, [&](stream_end& end) { return end.reset(*stream); });
}

int stream_nothing(GMimeStream*)
{
    return 0;
}

gboolean stream_eos(GMimeStream* stream)
{
    return end_of(stream).at_end(*stream) ? TRUE : FALSE;
}

gint64 stream_tell(GMimeStream* stream)
{
    return stream->position;
}

gint64 stream_length(GMimeStream* stream)
{
    return end_of(stream).length(*stream);
}

GMimeStream* make_stream(std::unique_ptr<stream_end> end, gint64 begin_bound, gint64 end_bound)
{
    auto* result = static_cast<HostStream*>(g_object_new(host_stream_get_type(), nullptr));
    result->end = end.release();
    g_mime_stream_construct(&result->parent, begin_bound, end_bound);
    return &result->parent;
}

GMimeStream* stream_substream(GMimeStream* stream, gint64 begin_bound, gint64 end_bound)
{
    auto end = end_of(stream).substream_end();
    return end ? make_stream(std::move(end), begin_bound, end_bound) : nullptr;
}

void stream_finalize(GObject* object)
{
    delete static_cast<HostStream*>(static_cast<void*>(object))->end;
    G_OBJECT_CLASS(host_stream_parent_class)->finalize(object);
}

void host_stream_class_init(HostStreamClass* type)
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

void host_stream_init(HostStream* stream)
{
    stream->end = nullptr;
}

template <typename End, typename... Parts>
host::gobject_ptr<GMimeStream> new_stream(Parts&&... parts)
{
    return host::gobject_ptr<GMimeStream>(make_stream(std::make_unique<End>(std::forward<Parts>(parts)...), 0, -1));
}

} // namespace

namespace host {

gobject_ptr<GMimeStream> make_bytes_stream(bytes_ptr source)
{
    return new_stream<shared_bytes>(std::move(source));
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> range_behind(GMimeStream* stream)
{
    if (!stream || !G_TYPE_CHECK_INSTANCE_TYPE(stream, host_stream_get_type()) ||
        !dynamic_cast<const shared_bytes*>(&end_of(stream))) {
        return std::nullopt;
    }
    const auto begin = static_cast<std::uint64_t>(stream->bound_start);
    const gint64 length = stream_length(stream);
    return std::pair(begin, begin + (length > 0 ? static_cast<std::uint64_t>(length) : 0));
}

bytes_ptr bytes_behind(GMimeStream* stream)
{
    const auto range = range_behind(stream);
    if (!range) {
        return nullptr;
    }
    return window_of(dynamic_cast<const shared_bytes&>(end_of(stream)).source(), range->first,
                     range->second - range->first);
}

gobject_ptr<GMimeStream> make_source_stream(content_ptr content, std::shared_ptr<stream_failure> failure)
{
    return new_stream<content_end>(std::move(content), std::move(failure));
}

gobject_ptr<GMimeStream> make_sink_stream(document_sink sink, std::shared_ptr<stream_failure> failure)
{
    return new_stream<sink_end>(std::move(sink), std::move(failure));
}

} // namespace host
