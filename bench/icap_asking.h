#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

struct icap_load;

/// The bytes of one RESPMOD request that allows 204. Only the serial number of the object changes.
struct icap_request
{
    static constexpr std::size_t serial_size = 16; ///< digits that make each object another one

    std::string bytes;
    std::size_t serial = 0; ///< offset of the serial number
    std::size_t object_size = 0;
    std::size_t most_at_once = 0; ///< bytes that are written to the socket at a time

    /// Throws std::invalid_argument for an object that is too small for a serial number, or larger than 2 GiB.
    icap_request(const icap_load& load, std::size_t object);
};

/// Reads one answer: a head, and the chunked body that its Encapsulated announces.
class icap_answer_reader
{
public:
    void restart() { *this = icap_answer_reader(); }
    /// Returns true with the end of the answer. Throws std::runtime_error if bytes follow it.
    bool read(std::string_view bytes);
    [[nodiscard]] int status() const noexcept { return status_; }

private:
    enum class state
    {
        head,
        skip,
        chunk,
        end_mark,
        end
    };

    std::size_t skip(std::string_view bytes);
    std::size_t line(std::string_view bytes);
    void take_line();
    void take_head_line();

    state state_ = state::head;
    std::string line_;
    int status_ = 0;
    bool has_body_ = false;
    std::size_t skip_ = 0;
};

/// One connection to an ICAP service, with one request under way at a time. Does not block. POSIX only.
class icap_asker
{
public:
    using clock = std::chrono::steady_clock;

    explicit icap_asker(std::uint16_t port);
    icap_asker(const icap_asker&) = delete;
    icap_asker& operator=(const icap_asker&) = delete;
    ~icap_asker();

    [[nodiscard]] int socket() const noexcept { return socket_; }

    /// Sends the begin of a request, which must outlive it. `due` is when it should have begun.
    void begin(const icap_request& request, std::uint64_t serial, clock::time_point due);
    /// Sends as much of the request as the peer takes.
    void send();
    /// Returns true with the end of the answer.
    bool receive(std::vector<char>& block);

    [[nodiscard]] int status() const noexcept { return answer_.status(); }
    [[nodiscard]] std::size_t object_size() const noexcept { return request_->object_size; }
    /// Returns the time since the request was due.
    [[nodiscard]] float milliseconds() const;

private:
    int socket_;
    const icap_request* request_ = nullptr;
    std::array<char, icap_request::serial_size> serial_{};
    std::size_t sent_ = 0;
    icap_answer_reader answer_;
    clock::time_point due_;
};

} // namespace bench
