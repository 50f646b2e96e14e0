#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace host {

/// Immutable bytes with shared ownership: a property value, a snapshot, a range of a file. Thread-safe. Read failures
/// throw std::runtime_error.
class bytes
{
public:
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Copies up to `count` bytes from `offset`; returns the number of bytes read, 0 at the end.
    virtual std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const = 0;
    virtual ~bytes() = default;
};

using bytes_ptr = std::shared_ptr<const bytes>;

/// Creates bytes in memory.
bytes_ptr bytes_of(std::string text);
/// Creates bytes over a range of a file, which must not be modified meanwhile. The file stays open for the lifetime of
/// the bytes. A `size` of all ones specifies the range up to the end. Throws std::runtime_error if the file cannot be
/// opened.
bytes_ptr bytes_of_file(const std::filesystem::path& file, std::uint64_t offset = 0, std::uint64_t size = ~0ULL);
/// Copies `count` bytes from `offset`, fewer only at the end. Returns the number of bytes copied.
std::size_t read_all(const bytes& source, std::uint64_t offset, char* destination, std::size_t count);
/// Returns the first `most` bytes, or all if there are fewer.
std::string first_bytes(const bytes& source, std::uint64_t most);
/// Returns all bytes as one string.
std::string to_string(const bytes& source);
/// Returns true if both have the same contents, which is always the case for the same object.
bool same_bytes(const bytes_ptr& left, const bytes_ptr& right);

/// Mutable bytes that can grow: a small number is held in memory, a larger one in a temporary file. Not thread-safe.
/// Failures throw exceptions derived from std::exception.
class scratch
{
public:
    /// The maximum number of bytes held in memory.
    static constexpr std::uint64_t memory_limit = 131070;

    scratch();
    scratch(scratch&&) noexcept;
    scratch& operator=(scratch&&) noexcept;
    ~scratch();

    [[nodiscard]] std::uint64_t size() const;
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const;
    /// Writes all `count` bytes; a gap after the current end is filled with zeros.
    void write(std::uint64_t offset, const void* source, std::size_t count);
    void append(std::string_view text)
    {
        if (!text.empty()) {
            write(size(), text.data(), text.size());
        }
    }
    /// Truncates the bytes or extends them with zeros.
    void resize(std::uint64_t new_size);
    /// Returns the contents as immutable bytes; the scratch is empty afterwards.
    bytes_ptr freeze();

private:
    class file;
    std::string memory_;
    std::unique_ptr<file> file_;
};

} // namespace host
