#include "host/store/byte_stream.h"

#include "host/store/guard.h"
#include "host/store/storage_codes.h"

#include <array>
#include <utility>

namespace host {

byte_stream::byte_stream(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag, std::uint32_t id,
                         bool writable)
    : state_(std::move(state))
    , bag_(std::move(bag))
    , id_(id)
    , writable_(writable)
{}

void* byte_stream::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
        return static_cast<IStream*>(this);
    }
    return nullptr;
}

void byte_stream::tell_property()
{
    if (bag_) {
        bag_->follow(id_, state_);
    }
}

HRESULT byte_stream::Read(void* buffer, ULONG count, ULONG* read)
{
    return guarded([&] {
        if (!buffer) {
            return storage_invalid_pointer;
        }
        const std::size_t got = state_->read(position_, buffer, count);
        position_ += got;
        if (read) {
            *read = static_cast<ULONG>(got);
        }
        return HRESULT{S_OK};
    });
}

HRESULT byte_stream::Write(const void* buffer, ULONG count, ULONG* written)
{
    return guarded([&] {
        if (written) {
            *written = 0;
        }
        if (!buffer) {
            return storage_invalid_pointer;
        }
        if (!writable_) {
            return storage_access_denied;
        }
        if (count != 0) {
            state_->write(position_, buffer, count);
            tell_property();
        }
        position_ += count;
        if (written) {
            *written = count;
        }
        return HRESULT{S_OK};
    });
}

HRESULT byte_stream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position)
{
    std::int64_t base = 0;
    if (origin == STREAM_SEEK_CUR) {
        base = static_cast<std::int64_t>(position_);
    } else if (origin == STREAM_SEEK_END) {
        base = static_cast<std::int64_t>(state_->size());
    } else if (origin != STREAM_SEEK_SET) {
        return storage_invalid_function;
    }
    const std::int64_t step = move.QuadPart;
    if (step < 0 ? base + step < 0 : step > INT64_MAX - base) {
        return storage_invalid_function;
    }
    position_ = static_cast<std::uint64_t>(base + step);
    if (position) {
        position->QuadPart = position_;
    }
    return S_OK;
}

HRESULT byte_stream::SetSize(ULARGE_INTEGER size)
{
    return guarded([&] {
        if (!writable_) {
            return storage_access_denied;
        }
        state_->resize(size.QuadPart);
        tell_property();
        return HRESULT{S_OK};
    });
}

HRESULT byte_stream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written)
{
    return guarded([&] {
        if (!target) {
            return storage_invalid_pointer;
        }
        std::array<char, 16384> block{};
        std::uint64_t got_sum = 0;
        std::uint64_t put_sum = 0;
        HRESULT result = S_OK;
        while (got_sum < count.QuadPart && SUCCEEDED(result)) {
            const std::uint64_t left = count.QuadPart - got_sum;
            const std::size_t got = state_->read(position_, block.data(), left < block.size() ? left : block.size());
            if (got == 0) {
                break;
            }
            position_ += got;
            got_sum += got;
            ULONG put = 0;
            result = target->Write(block.data(), static_cast<ULONG>(got), &put);
            put_sum += put;
        }
        if (read) {
            read->QuadPart = got_sum;
        }
        if (written) {
            written->QuadPart = put_sum;
        }
        return result;
    });
}

HRESULT byte_stream::Commit(DWORD)
{
    return S_OK;
}

HRESULT byte_stream::Revert()
{
    return S_OK;
}

HRESULT byte_stream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return storage_invalid_function;
}

HRESULT byte_stream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return storage_invalid_function;
}

HRESULT byte_stream::Stat(STATSTG* stat, DWORD)
{
    if (!stat) {
        return storage_invalid_pointer;
    }
    constexpr DWORD read_write = 2; // STGM_READWRITE; reading is 0
    *stat = STATSTG{};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = state_->size();
    stat->grfMode = writable_ ? read_write : 0;
    return S_OK;
}

HRESULT byte_stream::Clone(IStream** clone)
{
    return guarded([&] {
        if (!clone) {
            return storage_invalid_pointer;
        }
        auto copy = MakeCom<byte_stream>(state_, bag_, id_, writable_);
        copy->position_ = position_;
        *clone = copy.detach();
        return HRESULT{S_OK};
    });
}

} // namespace host
