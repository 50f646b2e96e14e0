#include "tests/tool/http/body_judge.h"

#include "tests/tool/http/spirit_judge.h"

#include <algorithm>

namespace judge {

namespace {

/// Returns the length of all line ends at the start of a text.
std::size_t line_ends(std::string_view text)
{
    std::size_t skipped = 0;
    while (true) {
        std::size_t at = skipped;
        at = std::min(text.find_first_not_of(' ', at), text.size());
        at = std::min(text.find_first_not_of('\r', at), text.size());
        if (at == text.size() || text[at] != '\n') {
            return skipped;
        }
        skipped = at + 1;
    }
}

} // namespace

std::size_t chunked_body::append(std::string_view input)
{
    if (input.empty()) {
        return 0;
    }
    if (!chunks_.empty() && chunks_.back().second < chunks_.back().first) {
        auto& [size, written] = chunks_.back();
        const std::size_t count = std::min<std::uint64_t>(input.size(), size - written);
        payload_ += input.substr(0, count);
        written += count;
        return count;
    }
    std::size_t used = 0;
    const line read = read_line(input, used);
    completed_ = read.completed;
    if (read.completed || read.size == ~std::uint64_t{0}) {
        return used;
    }
    const std::size_t count = std::min<std::uint64_t>(input.size() - used, read.size);
    payload_ += input.substr(used, count);
    chunks_.emplace_back(read.size, count);
    return used + count;
}

chunked_body::line chunked_body::read_line(std::string_view input, std::size_t& used)
{
    line result;
    used = input.size();
    pending_ += input;
    const char* end = pending_.data() + pending_.size();
    const char* begin = pending_.data() + line_ends(pending_);
    http::chunk_line last;
    http::parse_info parsed = judge::parse_last_chunk(begin, end, last);
    if (parsed.hit) {
        result.size = 0;
        result.completed = true;
        trailers_ += last.trailers;
        ieof_ = ieof_ || last.extension.find_first_of("ieof") != std::string_view::npos;
    } else if (parsed.stop != end) {
        http::chunk_line sized;
        parsed = judge::parse_chunk_size(begin, end, sized);
        if (parsed.hit) {
            result.size = sized.size;
        }
    }
    if (parsed.hit) {
        const auto behind = static_cast<std::size_t>(end - parsed.stop);
        used = input.size() > behind ? input.size() - behind : 0;
        pending_.clear();
    }
    return result;
}

} // namespace judge
