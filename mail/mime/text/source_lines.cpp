#include "mail/mime/text/source_lines.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::size_t bytes_at_once = 65536;

} // namespace

source_lines::source_lines(const bytes& source)
    : source_(source)
    , size_(source.size())
{}

bool source_lines::fill()
{
    offset_ += block_.size();
    used_ = 0;
    block_.resize(std::min<std::uint64_t>(bytes_at_once, size_ - offset_));
    block_.resize(block_.empty() ? 0 : source_.read(offset_, block_.data(), block_.size()));
    return !block_.empty();
}

bool source_lines::next(source_line& line)
{
    text_.clear();
    if (used_ == block_.size() && !fill()) {
        return false;
    }
    line.begin = offset_ + used_;
    line.ending = 0;
    bool after_cr = false; // a line may have more bytes than its text
    do {
        const std::string_view rest = std::string_view(block_).substr(used_);
        const std::size_t found = rest.find('\n');
        const std::string_view piece = rest.substr(0, found);
        text_.append(piece.substr(0, longest_text - text_.size()));
        after_cr = piece.empty() ? after_cr : piece.back() == '\r';
        used_ += piece.size();
        if (found != std::string_view::npos) {
            ++used_;
            line.ending = after_cr ? 2 : 1;
            break;
        }
    } while (fill());
    line.end = offset_ + used_;
    const std::uint64_t size = line.end - line.begin - line.ending;
    line.text = std::string_view(text_).substr(0, std::min<std::uint64_t>(size, text_.size()));
    return true;
}

} // namespace host
