#include "store/joined_bytes.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

class window final : public bytes
{
public:
    window(bytes_ptr source, std::uint64_t offset, std::uint64_t size)
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
    bytes_ptr source_;
    std::uint64_t offset_;
    std::uint64_t size_;
};

} // namespace

class bytes_joiner::joined final : public bytes
{
public:
    joined(std::vector<piece> pieces, std::uint64_t size)
        : pieces_(std::move(pieces))
        , size_(size)
    {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_) {
            return 0;
        }
        auto next = std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                                     [](std::uint64_t wanted, const piece& other) { return wanted < other.at; });
        std::size_t filled = 0;
        for (--next; next != pieces_.end() && filled < count; ++next) {
            const std::uint64_t inside = offset + filled - next->at;
            const std::size_t wanted = std::min<std::uint64_t>(count - filled, next->size - inside);
            const std::size_t got =
                next->source->read(next->offset + inside, static_cast<char*>(destination) + filled, wanted);
            filled += got;
            if (got < wanted) {
                break;
            }
        }
        return filled;
    }

private:
    std::vector<piece> pieces_;
    std::uint64_t size_;
};

bytes_ptr window_of(bytes_ptr source, std::uint64_t offset, std::uint64_t size)
{
    const std::uint64_t whole = source->size();
    const std::uint64_t start = std::min(offset, whole);
    return std::make_shared<const window>(std::move(source), start, std::min(size, whole - start));
}

void bytes_joiner::keep_text()
{
    if (!text_.empty()) {
        const bytes_ptr text = bytes_of(std::exchange(text_, {}));
        pieces_.push_back({text, 0, text->size(), size_});
        size_ += text->size();
    }
}

void bytes_joiner::add(const bytes_ptr& source, std::uint64_t offset, std::uint64_t size)
{
    if (size == 0) {
        return;
    }
    keep_text();
    if (!pieces_.empty() && pieces_.back().source == source && pieces_.back().offset + pieces_.back().size == offset) {
        pieces_.back().size += size;
    } else {
        pieces_.push_back({source, offset, size, size_});
    }
    size_ += size;
}

bytes_ptr bytes_joiner::finish()
{
    keep_text();
    return std::make_shared<const joined>(std::exchange(pieces_, {}), std::exchange(size_, 0));
}

} // namespace host
