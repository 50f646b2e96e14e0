#pragma once

#include "service/body_reader.h"
#include "service/preview_normaliser.h"
#include "service/request_head.h"
#include "tool/icap/request_message.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Reads one request from a stream of bytes. Bytes of the next request are left in the stream. The head and each
/// encapsulated head are limited to the analyzer's 16640 bytes; the limits of body_reader apply in addition.
class request_reader
{
public:
    struct limits
    {
        std::uint64_t max_body = 0;
        std::uint64_t max_preview = 0;
        body_budget* budget = nullptr; ///< for the object, as long as the reader exists; null: no limit
    };

    /// Begins a scan of an object of that size in bytes, which is fed as the object arrives; returns null if the object
    /// is to be scanned when it is complete. May be empty.
    using scan_starter = std::function<std::unique_ptr<early_scan>(std::uint64_t size)>;

    enum class progress
    {
        need_more,     ///< all bytes were consumed and the request is incomplete
        preview_ended, ///< the peer waits for a "100 Continue" or for the response
        complete       ///< the request is complete
    };

    /// `end_mark_may_lead`: the previous request was accepted as complete before its end mark, which may still arrive.
    explicit request_reader(const limits& bounds, bool end_mark_may_lead = false, scan_starter start_scan = {});
    request_reader(const request_reader&) = delete;
    request_reader& operator=(const request_reader&) = delete;

    /// Consumes bytes from the front of `inbox`. Line ends before a request are dropped. Throws bad_request; the reader
    /// must not be used afterwards.
    progress read(std::string& inbox);
    /// Continues reading after the preview. The caller must have sent "100 Continue" to the peer.
    void continue_behind_preview();

    /// Returns true once any part of a request has been received. Blank lines ahead of a request are none, unless they
    /// are many.
    [[nodiscard]] bool started() const noexcept { return started_; }
    /// Returns true once all heads have been read, so that only bytes of the body can follow.
    [[nodiscard]] bool reads_body() const noexcept { return heads_read_; }
    /// Returns the request once its heads have been read, otherwise null. The reader keeps ownership.
    [[nodiscard]] icap::request_message* request() noexcept { return request_.get(); }
    /// Returns the path of the request's URI, once the request is there.
    [[nodiscard]] const std::string& path() const { return head_->path; }
    /// Returns true if the peer takes a 204 in place of an object of any size.
    [[nodiscard]] bool allows_204() const { return head_->allows_204; }
    /// Returns false if the object has no body, whatever its head specifies.
    [[nodiscard]] bool has_body() const { return head_->has_body; }
    /// Returns true if the object was sent without the framing that its head would need. It has one, for this reader
    /// only.
    [[nodiscard]] bool framing_added() const noexcept { return framing_added_; }
    /// Returns the HTTP message to be judged: the request of a REQMOD, the response of a RESPMOD.
    [[nodiscard]] http::message& object() { return body_->object(); }
    /// Returns the scan that was fed with the whole object; null if there is none.
    [[nodiscard]] early_scan* scan() const noexcept { return body_ ? body_->scan() : nullptr; }
    /// Returns true if the request was accepted as complete before its end mark arrived. Only the end mark can follow.
    [[nodiscard]] bool ended_early() const noexcept { return ended_early_; }
    /// Returns true if only a preview was read. The response may then be 204 whether or not the peer allows it.
    [[nodiscard]] bool only_preview() const noexcept { return request_->preview_present() && !continued_; }

private:
    progress read_or_raise(std::string& inbox);
    bool read_head(std::string& inbox);
    void drop_blank_lines(std::string& inbox);
    bool parse_head(std::string& inbox, std::size_t end);
    void judge_first_line(const std::string& inbox);
    bool read_encapsulated_heads(std::string& inbox);
    progress read_body(std::string& inbox);
    bool drop_end_mark(std::string& inbox);
    void settle_announced_length();
    [[nodiscard]] bool padded();
    [[nodiscard]] bool announces_nothing();
    [[nodiscard]] std::optional<std::uint64_t> announced_length();
    void begin_scan();

    limits bounds_;
    scan_starter start_scan_;
    std::optional<request_head> head_;
    std::unique_ptr<icap::request_message> request_;
    std::optional<body_reader> body_;
    std::optional<preview_normaliser> normaliser_;
    std::size_t line_begin_ = 0;  ///< start offset of the incomplete line of the head
    std::size_t lines_ = 0;       ///< whole lines of the head
    std::size_t searched_ = 0;    ///< offset ahead of which no further line feed is
    std::size_t blank_bytes_ = 0; ///< dropped ahead of the head
    std::size_t blanks_ = 0;      ///< offset ahead of which only blanks are
    std::size_t judged_size_ = 0; ///< bytes of the first line that were parsed last
    bool begun_ = false;          ///< there is a byte that is part of a head
    bool first_line_judged_ = false;
    bool end_mark_may_lead_;
    bool ended_early_ = false;
    bool started_ = false;
    bool continued_ = false;
    bool framing_added_ = false;
    bool heads_read_ = false;
};

} // namespace service
