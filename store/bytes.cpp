#include "store/bytes.h"

#include "tool/web/body_store.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

class memory_bytes final : public bytes
{
public:
    explicit memory_bytes(std::string text)
        : text_(std::move(text))
    {}
    [[nodiscard]] std::uint64_t size() const override { return text_.size(); }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= text_.size()) {
            return 0;
        }
        const std::size_t got = std::min<std::uint64_t>(count, text_.size() - offset);
        std::memcpy(destination, text_.data() + offset, got);
        return got;
    }

private:
    std::string text_;
};

std::size_t read_at(std::fstream& file, std::uint64_t offset, void* destination, std::size_t count)
{
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(static_cast<char*>(destination), static_cast<std::streamsize>(count));
    if (file.bad()) {
        throw std::runtime_error("a file could not be read");
    }
    return static_cast<std::size_t>(file.gcount());
}

class file_bytes final : public bytes
{
public:
    file_bytes(const std::filesystem::path& path, std::uint64_t offset, std::uint64_t size)
        : file_(path, std::ios::in | std::ios::binary)
        , offset_(offset)
    {
        std::error_code ignored;
        file_.seekg(0, std::ios::end);
        const std::streamoff last = file_.tellg();
        if (last < 0 || std::filesystem::is_directory(path, ignored)) { // missing, or not a seekable file
            throw std::runtime_error("the file could not be opened");
        }
        const auto end = static_cast<std::uint64_t>(last);
        size_ = offset >= end ? 0 : std::min(size, end - offset);
    }
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_) {
            return 0;
        }
        const std::lock_guard guard(lock_);
        return read_at(file_, offset_ + offset, destination, std::min<std::uint64_t>(count, size_ - offset));
    }

private:
    mutable std::mutex lock_; ///< guards the file's position
    mutable std::fstream file_;
    std::uint64_t offset_;
    std::uint64_t size_ = 0;
};

} // namespace

bytes_ptr bytes_of(std::string text)
{
    return std::make_shared<const memory_bytes>(std::move(text));
}

bytes_ptr bytes_of_file(const std::filesystem::path& file, std::uint64_t offset, std::uint64_t size)
{
    return std::make_shared<const file_bytes>(file, offset, size);
}

std::size_t read_all(const bytes& source, std::uint64_t offset, char* destination, std::size_t count)
{
    std::size_t filled = 0;
    while (filled < count) {
        const std::size_t got = source.read(offset + filled, destination + filled, count - filled);
        if (got == 0) {
            break;
        }
        filled += got;
    }
    return filled;
}

std::string first_bytes(const bytes& source, std::uint64_t most)
{
    std::string result(std::min(source.size(), most), '\0');
    result.resize(read_all(source, 0, result.data(), result.size()));
    return result;
}

std::string to_string(const bytes& source)
{
    return first_bytes(source, source.size());
}

bool same_bytes(const bytes_ptr& left, const bytes_ptr& right)
{
    if (left == right) {
        return true;
    }
    if (!left || !right || left->size() != right->size()) {
        return false;
    }
    constexpr std::size_t block = 65536;
    std::string a(block, '\0');
    std::string b(block, '\0');
    for (std::uint64_t offset = 0; offset < left->size(); offset += block) {
        const std::size_t got = left->read(offset, a.data(), block);
        if (got != right->read(offset, b.data(), block) || std::memcmp(a.data(), b.data(), got) != 0) {
            return false;
        }
    }
    return true;
}

/// A temporary file that is deleted with its object.
class scratch::file final : public bytes
{
public:
    file()
        : store_(web::make_body_store(web::unknown_body_size))
    {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        if (offset >= size_) {
            return 0;
        }
        const std::lock_guard guard(lock_);
        return static_cast<std::size_t>(
            store_->read(offset, destination, std::min<std::uint64_t>(count, size_ - offset)));
    }
    void write(std::uint64_t offset, const void* source, std::size_t count)
    {
        if (store_->write(offset, source, count) != count) {
            throw std::runtime_error("a temporary file could not be written");
        }
        size_ = std::max(size_, offset + count);
    }
    void cut(std::uint64_t new_size) { size_ = std::min(size_, new_size); }

private:
    mutable std::mutex lock_; ///< guards the file's position
    std::unique_ptr<web::io_data> store_;
    std::uint64_t size_ = 0; ///< the file's contents beyond it are stale
};

scratch::scratch() = default;
scratch::scratch(scratch&&) noexcept = default;
scratch& scratch::operator=(scratch&&) noexcept = default;
scratch::~scratch() = default;

std::uint64_t scratch::size() const
{
    return file_ ? file_->size() : memory_.size();
}

std::size_t scratch::read(std::uint64_t offset, void* destination, std::size_t count) const
{
    if (file_) {
        return file_->read(offset, destination, count);
    }
    if (offset >= memory_.size()) {
        return 0;
    }
    return memory_.copy(static_cast<char*>(destination), count, offset);
}

void scratch::write(std::uint64_t offset, const void* source, std::size_t count)
{
    if (offset > size()) {
        resize(offset);
    }
    if (!file_ && offset + count > memory_limit) {
        auto moved = std::make_unique<file>();
        moved->write(0, memory_.data(), memory_.size());
        file_ = std::move(moved);
        memory_ = {};
    }
    if (file_) {
        file_->write(offset, source, count);
        return;
    }
    if (offset + count > memory_.size()) {
        memory_.resize(offset + count);
    }
    std::memcpy(memory_.data() + offset, source, count);
}

void scratch::resize(std::uint64_t new_size)
{
    if (new_size <= size()) {
        if (file_) {
            file_->cut(new_size);
        } else {
            memory_.resize(new_size);
        }
        return;
    }
    const std::array<char, 4096> zeros{};
    while (size() < new_size) {
        write(size(), zeros.data(), std::min<std::uint64_t>(zeros.size(), new_size - size()));
    }
}

bytes_ptr scratch::freeze()
{
    if (file_) {
        return std::shared_ptr<const file>(std::move(file_));
    }
    return bytes_of(std::exchange(memory_, {}));
}

} // namespace host
