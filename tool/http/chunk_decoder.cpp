#include "tool/http/chunk_decoder.h"

#include "tool/http/analyzer_core.h"
#include "tool/http/grammar.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace http {

namespace {

bool has_line_feed(const char* begin, const char* end) noexcept
{
    return begin != end && std::memchr(begin, '\n', static_cast<std::size_t>(end - begin)) != nullptr;
}

} // namespace

/// Reads a line at `begin`. Returns its end, or null if no line is finished.
const char* chunk_decoder::read_finished_line(const char* begin, const char* end, chunk_line_result& out)
{
    if (trailers_) {
        return read_trailers(begin, end, out);
    }
    chunk_line line;
    const parse_info last = parse_last_chunk(begin, end, line);
    if (last.hit) {
        out.size = 0;
        out.completed = true;
        out.extension = line.extension;
        out.trailers.assign(line.trailers.begin(), line.trailers.end());
        return last.stop;
    }
    if (last.stop == end) {
        // "0", line end: the following bytes decide whether this is the last chunk.
        if (!line.trailers.empty()) {
            const char* const first = line.trailers.data();
            const char* last_line = first;
            parse_last_chunk_lines(first, end, line, last_line);
            trailers_ = open_trailers{std::string(line.extension), static_cast<std::size_t>(first - begin),
                                      static_cast<std::size_t>(last_line - begin)};
        }
        return nullptr;
    }
    chunk_line size_line;
    const parse_info sized = parse_chunk_size(begin, end, size_line);
    if (!sized.hit) {
        return nullptr;
    }
    out.size = size_line.size;
    return sized.stop;
}

/// As read_finished_line(), with the trailer lines that were read before. The time depends on the bytes that have been
/// added only, and on the length of one line.
const char* chunk_decoder::read_trailers(const char* begin, const char* end, chunk_line_result& out)
{
    chunk_line line;
    const char* last_line = nullptr;
    const parse_info last = parse_last_chunk_lines(begin + trailers_->last_line, end, line, last_line);
    if (last.hit) {
        out.size = 0;
        out.completed = true;
        out.extension = std::move(trailers_->extension);
        out.trailers.assign(begin + trailers_->first_line, line.trailers.data() + line.trailers.size());
        return last.stop;
    }
    if (last.stop == end) {
        trailers_->last_line = static_cast<std::size_t>(last_line - begin);
        return nullptr;
    }
    out.size = 0; // a line that is cut: the zero counts as a size
    return begin + trailers_->first_line;
}

void chunk_decoder::require_limits() const
{
    const std::size_t final_lines = trailers_ ? trailers_->last_line : 0;
    if (pending_.size() - final_lines > longest_line) {
        throw chunk_line_too_long("chunk line too long");
    }
    if (pending_.size() > most_trailers) {
        throw chunk_line_too_long("chunk trailers too long");
    }
}

chunk_line_result chunk_decoder::read_line(const char* begin, const char* end, std::uint64_t& used)
{
    chunk_line_result result;
    used = static_cast<std::uint64_t>(end - begin);
    // Without a line feed no line can be finished. This test avoids parsing a line again for each of its small pieces.
    if (!pending_has_line_feed_ && !has_line_feed(begin, end)) {
        pending_.insert(pending_.end(), begin, end);
        require_limits();
        return result;
    }
    const bool gathered = !pending_.empty();
    const char* text = begin;
    const char* text_end = end;
    if (gathered) {
        pending_.insert(pending_.end(), begin, end);
        text = pending_.data();
        text_end = text + pending_.size();
    }
    // Skips the line end that closes the preceding payload, and any further ones.
    const char* start = skip_line_ends(text, text_end);
    if (const char* stop = read_finished_line(start, text_end, result)) {
        const auto behind = static_cast<std::uint64_t>(text_end - stop);
        used = used > behind ? used - behind : 0;
        pending_.clear();
        pending_has_line_feed_ = false;
        trailers_.reset();
        return result;
    }
    if (gathered) {
        pending_.erase(pending_.begin(), pending_.begin() + (start - text));
    } else {
        pending_.assign(start, text_end);
    }
    pending_has_line_feed_ = has_line_feed(pending_.data(), pending_.data() + pending_.size());
    require_limits();
    return result;
}

void chunk_decoder::add_chunk(const chunk_record& record)
{
    if (record.size == unspecified_size) {
        throw std::runtime_error("add_chunk failed: add chunk with unspecified size");
    }
    chunks_.push_back(record);
}

} // namespace http
