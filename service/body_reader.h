#pragma once

#include "service/body_budget.h"
#include "service/early_scan.h"
#include "tool/http/message.h"
#include "tool/icap/request_message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace service {

/// Finds the end of a chunked body in a stream that continues after it, and passes the body to its message; the message
/// never receives bytes of the next one. The reader limits the length of chunk lines, the trailers, the number of
/// chunks and the size of the object. It rejects payload that the object does not keep because its head announces a
/// shorter length: a part that was not scanned must not be cleared with the rest. Zero bytes after a complete object in
/// a preview are accepted, because the client pads previews of short objects with them.
class body_reader
{
public:
    /// `request` must outlive the reader and must already contain its encapsulated heads. The bytes of the object count
    /// against `budget`, which may be null, as long as the reader exists.
    body_reader(icap::request_message& request, std::uint64_t max_body, body_budget* budget = nullptr);

    /// Consumes bytes up to the end of the body or of the preview. Returns the number of bytes consumed. Throws
    /// bad_request.
    std::size_t read(std::string_view bytes);
    /// Returns true once the end of the body or of the preview has been read.
    [[nodiscard]] bool at_end() const noexcept { return state_ == state::end; }
    /// Continues reading after a preview.
    void continue_behind_preview();
    /// Passes the bytes of the object to a scan, too. Called before the first of them.
    void scan_with(std::unique_ptr<early_scan> scan) { scan_ = std::move(scan); }
    /// Returns the scan of the whole object; null if there is none.
    [[nodiscard]] early_scan* scan() const noexcept { return scan_.get(); }

    /// Returns the HTTP message that contains the body.
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
    std::unique_ptr<early_scan> scan_;
    std::uint64_t max_body_;
    body_budget::share share_;
    state state_ = state::line;
    bool in_preview_;
    std::string line_;            ///< the part of the current line read so far
    std::size_t mark_size_ = 0;   ///< size in bytes of the lines of the last chunk
    std::uint64_t remaining_ = 0; ///< payload bytes of the current chunk not yet received
    std::uint64_t payload_ = 0;   ///< payload bytes of all chunks
    std::uint64_t chunks_ = 0;
};

} // namespace service
