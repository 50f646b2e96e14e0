#include "mail/mime/tree/part_tree.h"

#include "mail/mime/text/source_lines.h"
#include "mail/mime/tree/content_type.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

/// Returns true if the text consists of the mark and blanks.
bool is_mark(std::string_view text, std::string_view mark)
{
    return text.starts_with(mark) && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(mark.size()), text.end(),
                                                 [](char c) { return is_blank(c) || c == '\r'; });
}

/// Returns the name of the header that a line begins; empty if it begins none.
std::string_view header_name(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    const std::string_view name = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
    return colon != 0 && name.find_first_of(" \t") == std::string_view::npos ? name : std::string_view();
}

class part_finder
{
public:
    explicit part_finder(const bytes& source)
        : source_(source)
        , lines_(source)
    {
        advance();
    }

    part_place find(const char* usual_type)
    {
        part_place part;
        part.begin = position();
        read_headers(part);
        content_type type = type_of(find_header(part, "Content-Type"));
        part.type = type.type.empty() ? usual_type : std::move(type.type);
        if (part.has_blank_line && part.type.starts_with("multipart/") && !type.boundary.empty() &&
            boundaries_.size() < deepest_parts) {
            part.boundary = std::move(type.boundary);
            find_inner(part);
        } else {
            skip_to_delimiter();
        }
        part.end = content_end(part.body);
        if (!part.is_closed) {
            part.closing = part.end;
        }
        return part;
    }

private:
    void advance()
    {
        ending_ = has_line_ ? line_.ending : 0;
        has_line_ = lines_.next(line_);
        stop_ = stop{};
        if (!has_line_ || !line_.text.starts_with("--")) {
            return;
        }
        for (std::size_t level = boundaries_.size(); level > 0; --level) {
            const std::string& mark = boundaries_[level - 1];
            stop_.is_last = is_mark(line_.text, mark + "--");
            if (stop_.is_last || is_mark(line_.text, mark)) {
                stop_.level = level;
                return;
            }
        }
    }
    [[nodiscard]] std::uint64_t position() const { return has_line_ ? line_.begin : source_.size(); }
    [[nodiscard]] bool at_delimiter() const { return !has_line_ || stop_.level != 0; }
    void skip_to_delimiter()
    {
        while (!at_delimiter()) {
            advance();
        }
    }
    /// Returns the end of contents that begin at `body` and reach to the current line.
    [[nodiscard]] std::uint64_t content_end(std::uint64_t body) const
    {
        const std::uint64_t here = position();
        return has_line_ && here > body ? here - ending_ : here;
    }

    void read_headers(part_place& part)
    {
        bool in_header = false; // a damaged line and those that continue it belong to no header
        while (!at_delimiter() && !line_.text.empty()) {
            if (!is_blank(line_.text.front())) {
                const std::string_view name = header_name(line_.text);
                in_header = !name.empty();
                if (in_header) {
                    part.headers.push_back({std::string(name), line_.begin, line_.end});
                }
            } else if (in_header) {
                part.headers.back().end = line_.end;
            }
            advance();
        }
        part.has_blank_line = !at_delimiter();
        part.headers_end = position();
        if (part.has_blank_line) {
            advance();
        }
        part.body = part.has_blank_line ? position() : content_end(part.begin);
    }

    [[nodiscard]] content_type type_of(const header_place* header) const
    {
        if (!header) {
            return {};
        }
        const std::string text = text_of_range(source_, header->begin, header->end);
        return parse_content_type(std::string_view(text).substr(text.find(':') + 1));
    }

    /// Reads the parts of a multipart, whose own delimiters count until its end.
    void find_inner(part_place& part)
    {
        const char* usual_type = part.type == "multipart/digest" ? "message/rfc822" : "text/plain";
        boundaries_.push_back("--" + part.boundary);
        const std::size_t level = boundaries_.size();
        recheck();
        skip_to_delimiter();
        while (has_line_ && stop_.level == level && !stop_.is_last) {
            part.delimiters.push_back(line_.begin);
            advance();
            part.parts.push_back(find(usual_type));
        }
        part.is_closed = has_line_ && stop_.level == level;
        part.closing = position();
        boundaries_.pop_back();
        if (part.is_closed) {
            advance();
            skip_to_delimiter();
        }
    }

    /// Compares the current line with a boundary that was added.
    void recheck()
    {
        if (has_line_ && is_mark(line_.text, boundaries_.back())) {
            stop_ = {boundaries_.size(), false};
        } else if (has_line_ && is_mark(line_.text, boundaries_.back() + "--")) {
            stop_ = {boundaries_.size(), true};
        }
    }

    /// The delimiter that the current line is.
    struct stop
    {
        std::size_t level = 0; ///< 0: none
        bool is_last = false;
    };

    const bytes& source_;
    source_lines lines_;
    source_line line_;
    bool has_line_ = false;
    unsigned ending_ = 0; ///< size of the line end ahead of the current line
    stop stop_;
    std::vector<std::string> boundaries_; ///< with their hyphens, the innermost last
};

} // namespace

part_place find_parts(const bytes& source)
{
    return part_finder(source).find("text/plain");
}

const part_place* part_at(const part_place& whole, const part_path& path)
{
    const part_place* part = &whole;
    for (const std::uint32_t number : path) {
        if (number >= part->parts.size()) {
            return nullptr;
        }
        part = &part->parts[number];
    }
    return part;
}

std::string line_end_of(const bytes& source)
{
    source_lines lines(source);
    source_line line;
    return lines.next(line) && line.ending == 1 ? "\n" : "\r\n";
}

const header_place* find_header(const part_place& part, std::string_view name)
{
    const auto found = std::find_if(part.headers.begin(), part.headers.end(), [name](const header_place& header) {
        return winapi::compare_no_case(header.name, name) == 0;
    });
    return found == part.headers.end() ? nullptr : &*found;
}

std::string text_of_range(const bytes& source, std::uint64_t begin, std::uint64_t end)
{
    std::string text(end - begin, '\0');
    text.resize(source.read(begin, text.data(), text.size()));
    return text;
}

} // namespace host
