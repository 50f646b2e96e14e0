#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>

namespace host {

/// Bytes that are read once, from the beginning to the end.
class byte_stream
{
public:
    /// Reads at least one and at most `count` bytes; returns the number of bytes read, 0 at the end. Throws
    /// std::runtime_error with the reason if the bytes cannot be read.
    virtual std::size_t read(char* destination, std::size_t count) = 0;
    /// Returns true for an ordinary file, which can be opened again by its name.
    [[nodiscard]] virtual bool is_regular() const = 0;
    virtual ~byte_stream() = default;
};

/// Thrown by a read that stream_limits::is_given_up has ended.
class reading_given_up : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Limits the time for which a read waits. Windows has no such limits: there a read waits until it succeeds or fails.
struct stream_limits
{
    /// The longest wait for the first byte of a named pipe, which may never get a writer. Other files, and a pipe whose
    /// first byte was read, are waited for without a limit.
    std::chrono::milliseconds first_byte{60000};
    /// Asked several times a second while a read waits; true ends the wait. May be empty.
    std::function<bool()> is_given_up;
};

/// The name that specifies standard input instead of a file.
constexpr const char* standard_input_name = "-";

/// Opens a file of any kind for reading, without waiting for a writer of a pipe; "-" is standard input. Throws
/// std::runtime_error with the reason.
std::unique_ptr<byte_stream> open_stream(const std::filesystem::path& file, const stream_limits& limits);

} // namespace host
