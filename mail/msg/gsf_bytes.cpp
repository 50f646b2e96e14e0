#include "mail/msg/gsf_bytes.h"

#include <algorithm>
#include <exception>
#include <gsf/gsf-input-impl.h>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

struct HostGsfInput
{
    GsfInput parent;
    host::bytes_ptr* source;
    std::string* block; ///< the last read for a caller without a buffer
};

struct HostGsfInputClass
{
    GsfInputClass parent;
};

G_DEFINE_TYPE(HostGsfInput, host_gsf_input, GSF_INPUT_TYPE)

HostGsfInput* self_of(void* input)
{
    return static_cast<HostGsfInput*>(input);
}

GsfInput* new_input(const host::bytes_ptr& source)
{
    auto* result = self_of(g_object_new(host_gsf_input_get_type(), nullptr));
    *result->source = source;
    gsf_input_set_size(&result->parent, static_cast<gsf_off_t>(source->size()));
    return &result->parent;
}

GsfInput* input_dup(GsfInput* input, GError**)
{
    return new_input(*self_of(input)->source);
}

const guint8* input_read(GsfInput* input, size_t count, guint8* buffer)
{
    HostGsfInput* self = self_of(input);
    try {
        if (!buffer) {
            self->block->resize(std::max(self->block->size(), count));
            buffer = reinterpret_cast<guint8*>(self->block->data());
        }
        const auto offset = static_cast<std::uint64_t>(input->cur_offset);
        return (*self->source)->read(offset, buffer, count) == count ? buffer : nullptr;
    } catch (const std::exception&) { // a C library: errors are reported by its own means
        return nullptr;
    }
}

gboolean input_seek(GsfInput*, gsf_off_t, GSeekType)
{
    return FALSE; // nothing to do: the base class stores the position
}

void input_finalize(GObject* object)
{
    delete self_of(object)->source; // owned by the C object, which calls no destructors
    delete self_of(object)->block;
    G_OBJECT_CLASS(host_gsf_input_parent_class)->finalize(object);
}

void host_gsf_input_class_init(HostGsfInputClass* type)
{
    G_OBJECT_CLASS(type)->finalize = input_finalize;
    type->parent.Dup = input_dup;
    type->parent.Read = input_read;
    type->parent.Seek = input_seek;
}

void host_gsf_input_init(HostGsfInput* input)
{
    input->source = new host::bytes_ptr;
    input->block = new std::string;
}

class input_bytes final : public host::bytes
{
public:
    input_bytes(host::msg::gsf_ptr<GsfInput> input, std::shared_ptr<std::mutex> lock)
        : lock_(std::move(lock))
        , input_(std::move(input))
        , size_(static_cast<std::uint64_t>(gsf_input_size(input_.get())))
    {}
    input_bytes(const input_bytes&) = delete;
    input_bytes& operator=(const input_bytes&) = delete;
    ~input_bytes() override
    {
        const std::lock_guard guard(*lock_);
        input_.reset();
    }

    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_ || count == 0) {
            return 0;
        }
        const std::size_t wanted = std::min<std::uint64_t>(count, size_ - offset);
        const std::lock_guard guard(*lock_);
        if (gsf_input_seek(input_.get(), static_cast<gsf_off_t>(offset), G_SEEK_SET) ||
            !gsf_input_read(input_.get(), wanted, static_cast<guint8*>(destination))) {
            throw std::runtime_error("a part of the file could not be read");
        }
        return wanted;
    }

private:
    std::shared_ptr<std::mutex> lock_;
    host::msg::gsf_ptr<GsfInput> input_;
    std::uint64_t size_;
};

} // namespace

namespace host::msg {

gsf_ptr<GsfInput> make_gsf_input(const bytes_ptr& source)
{
    return gsf_ptr<GsfInput>(new_input(source));
}

bytes_ptr bytes_of_input(gsf_ptr<GsfInput> input, std::shared_ptr<std::mutex> lock)
{
    return std::make_shared<const input_bytes>(std::move(input), std::move(lock));
}

} // namespace host::msg
