#pragma once

#include "service/body_reader.h"
#include "service/preview_normaliser.h"
#include "tool/icap/request_message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Reads one request from a stream of bytes and leaves behind it what belongs to the next one. A head is bounded by the
/// analyzer's 16640 bytes, as is each encapsulated head; what body_reader bounds comes on top.
class request_reader
{
public:
    struct limits
    {
        std::uint64_t max_body = 0;
        std::uint64_t max_preview = 0;
    };

    enum class progress
    {
        need_more,     ///< all bytes were taken and the request is not whole
        preview_ended, ///< the peer waits for a "100 Continue" or for the answer
        complete       ///< the request is whole
    };

    /// `end_mark_may_lead`: the request before was taken as whole ahead of its end mark, which may still come.
    explicit request_reader(const limits& bounds, bool end_mark_may_lead = false);
    request_reader(const request_reader&) = delete;
    request_reader& operator=(const request_reader&) = delete;

    /// Takes bytes from the front of `inbox`. Line ends ahead of a request are dropped. Raises bad_request, after which
    /// the reader is good for nothing.
    progress read(std::string& inbox);
    /// Goes on behind the preview, once the peer was told to.
    void continue_behind_preview();

    /// Something of a request has come.
    [[nodiscard]] bool started() const noexcept { return started_; }
    /// The request, once its head was read; null before.
    [[nodiscard]] icap::request_message* request() noexcept { return request_.get(); }
    /// The HTTP message to be judged: the request of a REQMOD, the response of a RESPMOD.
    [[nodiscard]] http::message& object() { return body_->object(); }
    /// The request was taken as whole though its end mark has not come: nothing but that can follow.
    [[nodiscard]] bool ended_early() const noexcept { return ended_early_; }
    /// The answer may be 204 whether the peer allows it or not: nothing but a preview was read.
    [[nodiscard]] bool only_preview() const noexcept { return request_->preview_present() && !continued_; }

private:
    progress read_or_raise(std::string& inbox);
    bool read_head(std::string& inbox);
    void accept_head();
    bool read_encapsulated_heads(std::string& inbox);
    progress read_body(std::string& inbox);
    bool drop_end_mark(std::string& inbox);
    [[nodiscard]] bool padded();
    [[nodiscard]] bool announces_nothing();

    limits bounds_;
    std::unique_ptr<icap::request_message> request_;
    std::optional<body_reader> body_;
    std::optional<preview_normaliser> normaliser_;
    std::size_t line_begin_ = 0; ///< of the head's first line that has not ended yet
    bool first_line_read_ = false;
    bool first_line_judged_ = false;
    bool end_mark_may_lead_;
    bool ended_early_ = false;
    bool started_ = false;
    bool continued_ = false;
    std::size_t first_head_size_ = 0;  ///< of the encapsulated request
    std::size_t second_head_size_ = 0; ///< of the encapsulated response
    bool heads_read_ = false;
};

} // namespace service
