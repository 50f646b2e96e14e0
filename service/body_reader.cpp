#include "service/body_reader.h"

#include "service/bad_request.h"
#include "tool/http/grammar.h"
#include "tool/system/ascii.h"
#include "tool/web/io_property.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::size_t longest_line = 4096;
constexpr std::size_t longest_end_mark = 16384;
constexpr std::uint64_t free_chunks = 65536;   ///< chunks of any size
constexpr std::uint64_t least_mean_chunk = 64; ///< payload bytes required per further chunk
constexpr std::size_t read_size = 65536;

/// Returns true if the line contains only blanks before its line end.
bool blank(std::string_view line)
{
    return line.find_first_not_of(" \r\n") == std::string_view::npos;
}

/// Returns true if one of the extensions is the mark that nothing follows a preview.
bool ends_object(std::string_view extensions)
{
    while (!extensions.empty()) {
        if (winapi::same_no_case(winapi::take_part(extensions, ';', " \t"), "ieof")) {
            return true;
        }
    }
    return false;
}

} // namespace

body_reader::body_reader(icap::request_message& request, std::uint64_t max_body, body_budget* budget)
    : request_(request)
    , max_body_(max_body)
    , share_(budget)
    , in_preview_(request.preview_present())
{
    const auto* const store = dynamic_cast<web::io_property*>(&object().body());
    if (store != nullptr && store->kind() == web::io_property::file_kind && !share_.take_file()) {
        throw bad_request("there is no descriptor for a file of the object", 503, 400);
    }
}

http::message& body_reader::object()
{
    return request_.method() == icap::request_method::reqmod ? request_.request() : request_.response();
}

void body_reader::continue_behind_preview()
{
    request_.more_preview_need();
    in_preview_ = false;
    state_ = state::line;
}

std::size_t body_reader::read(std::string_view bytes)
{
    std::size_t used = 0;
    while (used < bytes.size() && state_ != state::end) {
        used += state_ == state::payload ? read_payload(bytes.substr(used)) : read_line(bytes.substr(used));
    }
    return used;
}

std::size_t body_reader::read_line(std::string_view bytes)
{
    const std::size_t line_feed = bytes.find('\n');
    const std::size_t used = line_feed == std::string_view::npos ? bytes.size() : line_feed + 1;
    if (line_.size() + used > longest_line) {
        throw bad_request("a line of the chunked body is too long");
    }
    line_.append(bytes.substr(0, used));
    if (line_feed == std::string_view::npos) {
        return used;
    }
    const std::string line = std::exchange(line_, {});
    if (state_ == state::line) {
        begin_chunk(line);
        return used;
    }
    give(line);
    mark_size_ += line.size();
    if (request_.complete()) {
        state_ = state::end;
    } else if (mark_size_ > longest_end_mark || blank(line)) {
        throw bad_request("the end of the chunked body is not understood");
    }
    return used;
}

void body_reader::begin_chunk(std::string_view line)
{
    if (blank(line)) {
        return; // ends the previous chunk, or is an extra line end
    }
    http::chunk_line chunk;
    const auto parsed = http::parse_chunk_size(line.data(), line.data() + line.size(), chunk);
    if (!parsed.hit || parsed.stop != line.data() + line.size()) {
        throw bad_request("a chunk line is not understood");
    }
    if (chunk.size == 0) {
        // The message takes any extension for the mark.
        give(ends_object(chunk.extension) ? "0; ieof\r\n" : "0\r\n");
        mark_size_ = line.size();
        state_ = state::last_chunk;
        return;
    }
    if (chunk.size > max_body_ || payload_ > max_body_ - chunk.size) {
        throw bad_request("the object is too large", 413);
    }
    if (++chunks_ > free_chunks && payload_ / least_mean_chunk < chunks_ - free_chunks) {
        throw bad_request("the body comes in too many small chunks");
    }
    give(line);
    remaining_ = chunk.size;
    state_ = state::payload;
}

std::size_t body_reader::read_payload(std::string_view bytes)
{
    const std::uint64_t most = std::min<std::uint64_t>(remaining_, read_size);
    const std::string_view piece = bytes.substr(0, static_cast<std::size_t>(most));
    http::message& stored = object();
    const std::uint64_t before = stored.body_size();
    if (!share_.take(piece.size())) {
        throw bad_request("there is no room for the object", 503, 400);
    }
    give(piece);
    const auto kept = static_cast<std::size_t>(stored.body_size() - before);
    if (scan_) {
        scan_->feed(piece.substr(0, kept));
    }
    const std::string_view left_out = piece.substr(kept);
    const bool padding = in_preview_ && left_out.find_first_not_of('\0') == std::string_view::npos;
    if (!left_out.empty() && !padding) {
        throw bad_request("the body is longer than its head says");
    }
    payload_ += piece.size();
    remaining_ -= piece.size();
    if (remaining_ == 0) {
        state_ = state::line;
    }
    return piece.size();
}

void body_reader::give(std::string_view bytes)
{
    if (request_.append(bytes.data(), bytes.data() + bytes.size()) != bytes.size()) {
        throw bad_request("the body goes on behind its end");
    }
}

} // namespace service
