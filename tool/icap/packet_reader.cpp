#include "tool/icap/packet_reader.h"

#include "tool/system/conversions.h"
#include "tool/web/io_data.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace icap {
namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view body_end = "\r\n0\r\n\r\n";
constexpr std::string_view doubled_end_mark = "0\r\n\r\n0\r\n\r\n";

void put(http::byte_vector& bytes, std::string_view text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Appends `head`. Returns true if it is not empty.
bool put_head(http::byte_vector& bytes, const http::byte_vector& head)
{
    bytes.insert(bytes.end(), head.begin(), head.end());
    return !head.empty();
}

} // namespace

bool detail::body_cursor::next(web::io_data& body, http::byte_vector& bytes, std::uint64_t most)
{
    if (size == 0) {
        return false;
    }
    if (at_end()) {
        throw std::runtime_error("packet reader: content size exceeded");
    }
    if (position == 0) {
        put(bytes, winapi::to_hex(size));
        put(bytes, line_end);
    }
    const std::uint64_t wanted = std::min(size - position, most);
    const std::size_t start = bytes.size();
    bytes.resize(start + static_cast<std::size_t>(wanted));
    const std::uint64_t got = body.read(position, bytes.data() + start, wanted);
    if (got == 0) {
        // The chunk's size has been sent, so the peer would misread anything else that could be sent now.
        throw std::runtime_error("packet reader: body ended before its size");
    }
    bytes.resize(start + static_cast<std::size_t>(got));
    position += got;
    if (at_end()) {
        put(bytes, body_end);
    }
    return true;
}

packet_reader_impl::packet_reader_impl(message& source)
    : source_(source)
{
    if (source_.has_request()) {
        request_.size = source_.request().body().size();
    }
    if (source_.has_response()) {
        response_.size = source_.response().body().size();
    }
}

bool packet_reader_impl::read(packet& out)
{
    require_complete();
    out.bytes->clear();
    const bool found = append_next(*out.bytes, detail::piece_size);
    out.count = out.bytes->size();
    return found;
}

void packet_reader_impl::require_complete() const
{
    if (!source_.complete()) {
        throw std::runtime_error("could no read incomplet message");
    }
}

bool packet_reader_impl::gather(http::byte_vector& bytes, std::size_t least)
{
    require_complete();
    constexpr std::size_t framing = 64; // of both bodies
    const std::uint64_t left = source_.raw_head().size() + (request_.size - request_.position) +
                               (response_.size - response_.position) +
                               (source_.has_request() ? source_.request().raw_head().size() : 0);
    const std::size_t before = bytes.size();
    bytes.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(least, before + left) + framing));
    while (bytes.size() < least && append_next(bytes, least - bytes.size())) {
    }
    return bytes.size() != before;
}

bool packet_reader_impl::append_next(http::byte_vector& bytes, std::uint64_t most)
{
    if (finished_) {
        return false;
    }
    if (!head_sent_) {
        head_sent_ = put_head(bytes, source_.raw_head());
        return head_sent_;
    }
    if (source_.has_request()) {
        if (!request_sent_) {
            request_sent_ = put_head(bytes, source_.request().raw_head());
            return request_sent_;
        }
        if (!request_.at_end() && request_.next(source_.request().body(), bytes, most)) {
            return true;
        }
    }
    if (source_.has_response()) {
        if (!response_sent_) {
            response_sent_ = put_head(bytes, source_.response().raw_head());
            return response_sent_;
        }
        if (!response_.at_end() && response_.next(source_.response().body(), bytes, most)) {
            return true;
        }
        if (response_.size == 0) {
            put(bytes, doubled_end_mark);
            finished_ = true;
            return true;
        }
    }
    finished_ = true;
    return false;
}

} // namespace icap
