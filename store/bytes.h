#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace host {

/// Bytes that never change, shared by everything that refers to them: a property value, a snapshot, a file's range.
/// Any thread may read; failures raise std::runtime_error.
class bytes
{
public:
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Copies up to `count` bytes from `offset`; returns the count read, 0 at the end.
    virtual std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const = 0;
    virtual ~bytes() = default;
};

using bytes_ptr = std::shared_ptr<const bytes>;

/// Bytes in memory.
bytes_ptr bytes_of(std::string text);
/// A range of a file that nobody changes meanwhile; the file stays open as long as the bytes live. `size` of all ones
/// means up to the end. Raises std::runtime_error when the file cannot be opened.
bytes_ptr bytes_of_file(const std::filesystem::path& file, std::uint64_t offset = 0, std::uint64_t size = ~0ULL);
/// All of them in one string.
std::string to_string(const bytes& source);
/// Whether two have the same contents; the same object always has.
bool same_bytes(const bytes_ptr& left, const bytes_ptr& right);

/// Bytes that grow and change: in memory while they are few, in a temporary file from then on. One thread at a time.
/// Failures raise exceptions derived from std::exception.
class scratch
{
public:
    /// More bytes than this leave memory.
    static constexpr std::uint64_t memory_limit = 131070;

    scratch();
    scratch(scratch&&) noexcept;
    scratch& operator=(scratch&&) noexcept;
    ~scratch();

    [[nodiscard]] std::uint64_t size() const;
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const;
    /// Writes all of it; a gap behind the end is filled with zeros.
    void write(std::uint64_t offset, const void* source, std::size_t count);
    void append(std::string_view text)
    {
        if (!text.empty()) {
            write(size(), text.data(), text.size());
        }
    }
    /// Cuts, or extends with zeros.
    void resize(std::uint64_t new_size);
    /// Turns what was written into immutable bytes; the scratch is empty afterwards.
    bytes_ptr freeze();

private:
    class file;
    std::string memory_;
    std::unique_ptr<file> file_;
};

} // namespace host
