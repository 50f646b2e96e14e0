#pragma once

#include "service/engine/icap_head.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Reads one answer of an ICAP server from pieces of any size: the head, the encapsulated heads, a chunked body.
/// Keeps no more than a head or a line. A text that is no answer, or that is longer than a limit, throws
/// std::runtime_error; the object must then not be used any more.
class icap_answer
{
public:
    static constexpr std::size_t longest_head = 16384;
    static constexpr std::size_t most_encapsulated_heads = 65536;
    static constexpr std::size_t longest_line = 1024; ///< of a chunk, or of the lines behind the last one
    static constexpr std::size_t most_trailer_lines = 64;

    /// Receives the bytes of the body.
    class body_receiver
    {
    public:
        virtual void receive(std::string_view bytes) = 0;
        virtual ~body_receiver() = default;
    };

    /// Reads further bytes and passes those of the body to `body`. Bytes behind the answer are kept.
    void feed(std::string_view bytes, body_receiver& body);

    /// Returns true if any byte has been read.
    [[nodiscard]] bool begun() const noexcept { return begun_; }
    /// Returns true if head() is final.
    [[nodiscard]] bool has_head() const noexcept { return step_ != step::head; }
    /// Returns true if head() and http() are final.
    [[nodiscard]] bool has_heads() const noexcept { return step_ >= step::chunk_line; }
    [[nodiscard]] bool complete() const noexcept { return step_ == step::complete; }
    /// Returns the bytes behind the complete answer in the pieces that were fed.
    [[nodiscard]] const std::string& surplus() const noexcept { return surplus_; }

    /// Returns the ICAP head. Must not be called ahead of has_head().
    [[nodiscard]] const icap_head& head() const noexcept { return head_; }
    /// Returns the head of the encapsulated response, if there is one.
    [[nodiscard]] const std::optional<icap_head>& http() const noexcept { return http_; }
    [[nodiscard]] const encapsulated_parts& parts() const noexcept { return parts_; }
    /// Returns true if the head specifies what is encapsulated.
    [[nodiscard]] bool has_parts() const noexcept { return has_parts_; }
    /// Returns true if the next request may use the same connection.
    [[nodiscard]] bool keeps_connection() const;

private:
    enum class step
    {
        head,
        encapsulated_heads,
        chunk_line,
        chunk,
        chunk_end,
        trailers,
        complete
    };

    bool advance(std::string_view& bytes, body_receiver& body);
    bool read_head(std::string_view& bytes);
    bool read_encapsulated_heads(std::string_view& bytes);
    bool read_chunk(std::string_view& bytes, body_receiver& body);
    std::optional<std::string> take_line(std::string_view& bytes);
    void begin_chunk(std::string_view line);
    void read_trailer(std::string_view line);

    step step_ = step::head;
    bool begun_ = false;
    std::string surplus_;
    bool has_parts_ = false;
    std::string held_; ///< the beginning of what the current step needs whole
    icap_head head_;
    encapsulated_parts parts_;
    std::optional<icap_head> http_;
    std::uint64_t left_ = 0; ///< bytes of the current chunk that have not arrived
    std::size_t trailer_lines_ = 0;
};

} // namespace service
