#include "service/engine/icap_answer.h"

#include "tool/system/ascii.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace service {

void icap_answer::feed(std::string_view bytes, body_receiver& body)
{
    begun_ = begun_ || !bytes.empty();
    while (step_ != step::complete && advance(bytes, body)) {
    }
    if (step_ == step::complete) {
        surplus_.append(bytes);
    }
}

/// Returns false if more bytes are needed.
bool icap_answer::advance(std::string_view& bytes, body_receiver& body)
{
    switch (step_) {
    case step::head:
        return read_head(bytes);
    case step::encapsulated_heads:
        return read_encapsulated_heads(bytes);
    case step::chunk:
        return read_chunk(bytes, body);
    default:
        break;
    }
    const auto line = take_line(bytes);
    if (!line) {
        return false;
    }
    if (step_ == step::chunk_line) {
        begin_chunk(*line);
    } else if (step_ == step::trailers) {
        read_trailer(*line);
    } else if (line->empty()) {
        step_ = step::chunk_line;
    } else {
        throw std::runtime_error("answer not understood: a chunk is longer than its size");
    }
    return true;
}

bool icap_answer::read_head(std::string_view& bytes)
{
    const std::size_t before = held_.size();
    held_.append(bytes.substr(0, longest_head + 1 - before));
    const std::size_t length = head_length(held_, before);
    if (length == 0) {
        if (held_.size() > longest_head) {
            throw std::runtime_error("answer not understood: its head is too long");
        }
        bytes = {};
        return false;
    }
    bytes.remove_prefix(length - before);
    held_.resize(length);
    head_ = read_icap_head(held_, "ICAP");
    held_.clear();
    has_parts_ = head_.has("Encapsulated");
    if (has_parts_) {
        parts_ = read_encapsulated_parts(head_.field("Encapsulated"), most_encapsulated_heads);
    }
    // Neither of these has a body, whatever its head says.
    if (head_.status == icap_status::go_on || head_.status == icap_status::no_content || !has_parts_) {
        parts_ = {};
        step_ = step::complete;
    } else {
        step_ = step::encapsulated_heads;
    }
    return true;
}

bool icap_answer::read_encapsulated_heads(std::string_view& bytes)
{
    const std::size_t wanted = parts_.request_head + parts_.response_head;
    const std::size_t count = std::min(wanted - held_.size(), bytes.size());
    held_.append(bytes.substr(0, count));
    bytes.remove_prefix(count);
    if (held_.size() < wanted) {
        return false;
    }
    if (parts_.response_head != 0) {
        http_ = read_icap_head(std::string_view(held_).substr(parts_.request_head), "HTTP");
    }
    held_.clear();
    step_ = parts_.has_body ? step::chunk_line : step::complete;
    return true;
}

/// Returns the next line without its line end, if it has arrived whole.
std::optional<std::string> icap_answer::take_line(std::string_view& bytes)
{
    const std::size_t end = bytes.find('\n');
    held_.append(bytes.substr(0, std::min(end, longest_line + 1)));
    if (held_.size() > longest_line) {
        throw std::runtime_error("answer not understood: a line of a chunk is too long");
    }
    if (end == std::string_view::npos) {
        bytes = {};
        return std::nullopt;
    }
    bytes.remove_prefix(end + 1);
    std::string line;
    line.swap(held_);
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

void icap_answer::begin_chunk(std::string_view line)
{
    constexpr int hexadecimal = 16;
    const std::string_view number = winapi::trimmed(line.substr(0, line.find(';')));
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), left_, hexadecimal);
    if (number.empty() || error != std::errc{} || end != number.data() + number.size()) {
        throw std::runtime_error("answer not understood: the size of a chunk");
    }
    step_ = left_ == 0 ? step::trailers : step::chunk;
}

bool icap_answer::read_chunk(std::string_view& bytes, body_receiver& body)
{
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left_, bytes.size()));
    if (count != 0) {
        body.receive(bytes.substr(0, count));
    }
    bytes.remove_prefix(count);
    left_ -= count;
    if (left_ != 0) {
        return false;
    }
    step_ = step::chunk_end;
    return true;
}

void icap_answer::read_trailer(std::string_view line)
{
    if (line.empty()) {
        step_ = step::complete;
    } else if (++trailer_lines_ > most_trailer_lines) {
        throw std::runtime_error("answer not understood: too many lines behind its body");
    }
}

bool icap_answer::keeps_connection() const
{
    const bool delimited = has_parts_ || head_.status == icap_status::go_on || head_.status == icap_status::no_content;
    return complete() && surplus_.empty() && delimited && !winapi::list_contains(head_.field("Connection"), "close");
}

} // namespace service
