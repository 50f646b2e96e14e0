#pragma once

#include "tool/http/message.h"
#include "tool/icap/request_message.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// Finds the end of a chunked body in a stream that goes on behind it, so that a message is never given bytes of the
/// next one, and hands the body to its message. What it bounds: chunk lines, trailers, the count of chunks, the
/// object's size. A payload that the object doesn't keep, as its head announces less, is refused: a part that was not
/// looked at must not be cleared with the rest. Zero bytes behind a whole object in a preview are let pass, as the
/// client fills up previews of short objects with them.
class body_reader
{
public:
    /// `request` outlives the reader and has its encapsulated heads.
    body_reader(icap::request_message& request, std::uint64_t max_body);

    /// Takes bytes up to the body's end or the preview's end at most; returns the count taken. Raises bad_request.
    std::size_t read(std::string_view bytes);
    /// The end of the body or of the preview was read.
    [[nodiscard]] bool at_end() const noexcept { return state_ == state::end; }
    /// Goes on behind a preview.
    void continue_behind_preview();

    /// The HTTP message that the body belongs to.
    [[nodiscard]] http::message& object();

private:
    enum class state
    {
        line,
        payload,
        last_chunk,
        end
    };

    std::size_t read_line(std::string_view bytes);
    std::size_t read_payload(std::string_view bytes);
    void begin_chunk(std::string_view line);
    void give(std::string_view bytes);

    icap::request_message& request_;
    std::uint64_t max_body_;
    state state_ = state::line;
    bool in_preview_;
    std::string line_;            ///< the line read so far
    std::size_t mark_size_ = 0;   ///< bytes of the last chunk's lines
    std::uint64_t remaining_ = 0; ///< payload of the chunk that has not come yet
    std::uint64_t payload_ = 0;   ///< bytes of all chunks
    std::uint64_t chunks_ = 0;
};

} // namespace service
