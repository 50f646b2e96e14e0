#include "store/stream_object.h"

#include "store/guard.h"
#include "store/storage_codes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace host {

stream_object::stream_object(std::shared_ptr<web::io_data> data, bool writable)
    : data_(std::move(data))
    , writable_(writable)
{}

void* stream_object::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
        return static_cast<IStream*>(this);
    }
    return nullptr;
}

HRESULT stream_object::Read(void* buffer, ULONG count, ULONG* read)
{
    return guarded([&] {
        if (!buffer) {
            return StorageInvalidPointer;
        }
        const std::uint64_t got = data_->read(position_, buffer, count);
        position_ += got;
        if (read) {
            *read = static_cast<ULONG>(got);
        }
        return HRESULT{S_OK};
    });
}

HRESULT stream_object::Write(const void* buffer, ULONG count, ULONG* written)
{
    return guarded([&] {
        if (written) {
            *written = 0;
        }
        if (!buffer) {
            return StorageInvalidPointer;
        }
        if (!writable_) {
            return StorageAccessDenied;
        }
        const std::uint64_t put = count == 0 ? 0 : data_->write(position_, buffer, count);
        position_ += put;
        if (written) {
            *written = static_cast<ULONG>(put);
        }
        return HRESULT{S_OK};
    });
}

HRESULT stream_object::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position)
{
    return guarded([&] {
        std::int64_t base = 0;
        if (origin == STREAM_SEEK_CUR) {
            base = static_cast<std::int64_t>(position_);
        } else if (origin == STREAM_SEEK_END) {
            base = static_cast<std::int64_t>(data_->size());
        } else if (origin != STREAM_SEEK_SET) {
            return StorageInvalidFunction;
        }
        const std::int64_t step = move.QuadPart;
        if (step < 0 ? base + step < 0 : step > INT64_MAX - base) {
            return StorageInvalidFunction;
        }
        position_ = static_cast<std::uint64_t>(base + step);
        if (position) {
            position->QuadPart = position_;
        }
        return HRESULT{S_OK};
    });
}

HRESULT stream_object::SetSize(ULARGE_INTEGER size)
{
    return guarded([&] {
        if (!writable_) {
            return StorageAccessDenied;
        }
        data_->size(size.QuadPart);
        return HRESULT{S_OK};
    });
}

HRESULT stream_object::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written)
{
    return guarded([&] {
        if (!target) {
            return StorageInvalidPointer;
        }
        std::array<char, 16384> block{};
        std::uint64_t got_sum = 0;
        std::uint64_t put_sum = 0;
        HRESULT result = S_OK;
        while (got_sum < count.QuadPart && SUCCEEDED(result)) {
            const std::uint64_t left = count.QuadPart - got_sum;
            const std::uint64_t got = data_->read(position_, block.data(), std::min<std::uint64_t>(left, block.size()));
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

HRESULT stream_object::Commit(DWORD)
{
    return S_OK;
}

HRESULT stream_object::Revert()
{
    return S_OK;
}

HRESULT stream_object::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return StorageInvalidFunction;
}

HRESULT stream_object::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return StorageInvalidFunction;
}

HRESULT stream_object::Stat(STATSTG* stat, DWORD)
{
    return guarded([&] {
        if (!stat) {
            return StorageInvalidPointer;
        }
        constexpr DWORD read_write = 2; // STGM_READWRITE; reading is 0
        *stat = STATSTG{};
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = data_->size();
        stat->grfMode = writable_ ? read_write : 0;
        return HRESULT{S_OK};
    });
}

HRESULT stream_object::Clone(IStream** clone)
{
    return guarded([&] {
        if (!clone) {
            return StorageInvalidPointer;
        }
        auto copy = MakeCom<stream_object>(data_, writable_);
        copy->position_ = position_;
        *clone = copy.detach();
        return HRESULT{S_OK};
    });
}

} // namespace host
