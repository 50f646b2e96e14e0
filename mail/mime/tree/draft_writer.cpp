#include "mail/mime/tree/draft_writer.h"

#include "tool/system/conversions.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace host {

namespace {

/// Returns true for a header that belongs to the contents, not to the message.
bool describes_contents(std::string_view name)
{
    constexpr std::string_view prefix = "Content-";
    return name.size() >= prefix.size() && winapi::compare_no_case(name.substr(0, prefix.size()), prefix) == 0;
}

/// Returns the number of an original part in its original multipart; that of the end for any other part.
std::size_t number_in(const part_place& multipart, const part_place* part)
{
    const part_place* first = multipart.parts.data();
    const bool inside = part && !std::less<>()(part, first) && std::less<>()(part, first + multipart.parts.size());
    return inside ? static_cast<std::size_t>(part - first) : multipart.parts.size();
}

} // namespace

draft_writer::draft_writer(const draft& from)
    : from_(from)
{}

void draft_writer::copy(std::uint64_t begin, std::uint64_t end)
{
    out_.add(from_.source_, begin, end - begin);
}

bool draft_writer::is_intact(const draft_part& part) const
{
    if (!part.place || part.content || part.parts.size() != part.place->parts.size()) {
        return false;
    }
    for (std::size_t i = 0; i < part.parts.size(); ++i) {
        if (part.parts[i]->place != &part.place->parts[i] || !is_intact(*part.parts[i])) {
            return false;
        }
    }
    return true;
}

bytes_ptr draft_writer::write()
{
    const draft_part& root = *from_.root_;
    const part_place& whole = from_.whole_;
    write_message_headers();
    if (is_intact(root) && whole.has_blank_line) {
        copy(whole.headers_end, whole.end);
    } else {
        write_line_end();
        write_contents(root);
    }
    return out_.finish();
}

std::string draft_writer::description() const
{
    const draft_part& root = *from_.root_;
    if (root.place == &from_.whole_) {
        return {};
    }
    return (find_header(from_.whole_, "MIME-Version") ? std::string() : "MIME-Version: 1.0" + from_.line_end_) +
           root.headers;
}

void draft_writer::write_message_headers()
{
    const part_place& whole = from_.whole_;
    std::string described = description();
    const bool described_anew = !described.empty();
    std::vector<std::string> lines;
    for (const auto& change : from_.headers_) {
        lines.push_back(change.lines);
    }
    // What has no place of its own comes first, because some readers stop at a damaged header.
    std::uint64_t at = whole.headers.empty() ? whole.begin : whole.headers.front().begin;
    copy(whole.begin, at);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (!find_header(whole, from_.headers_[i].name)) {
            out_.add(lines[i]);
        }
    }
    if (std::none_of(whole.headers.begin(), whole.headers.end(),
                     [](const header_place& header) { return describes_contents(header.name); })) {
        out_.add(std::exchange(described, {}));
    }
    for (const header_place& header : whole.headers) {
        const auto change = std::find_if(from_.headers_.begin(), from_.headers_.end(), [&header](const auto& other) {
            return winapi::compare_no_case(other.name, header.name) == 0;
        });
        const bool is_description = described_anew && describes_contents(header.name);
        if (change == from_.headers_.end() && !is_description) {
            continue;
        }
        copy(at, header.begin);
        at = header.end;
        out_.add(is_description ? std::exchange(described, {})
                                : std::exchange(lines[static_cast<std::size_t>(change - from_.headers_.begin())], {}));
    }
    const std::uint64_t headers_end = whole.headers_end;
    copy_headers(at, headers_end);
}

void draft_writer::copy_headers(std::uint64_t begin, std::uint64_t end)
{
    if (begin < end) {
        copy(begin, end);
        if (text_of_range(*from_.source_, end - 1, end) != "\n") {
            write_line_end();
        }
    }
}

void draft_writer::write_part(const draft_part& part)
{
    if (!part.place) {
        out_.add(part.headers);
        write_line_end();
    } else if (part.place == &from_.whole_) { // the headers of the message remain at the beginning
        for (const header_place& header : part.place->headers) {
            if (describes_contents(header.name)) {
                copy_headers(header.begin, header.end);
            }
        }
        write_line_end();
    } else if (is_intact(part)) {
        copy(part.place->begin, part.place->end);
        return;
    } else {
        write_headers(part);
    }
    write_contents(part);
}

void draft_writer::write_headers(const draft_part& part)
{
    const part_place& place = *part.place;
    std::uint64_t at = place.begin;
    for (const header_place& header : place.headers) {
        if (!part.headers.empty() && winapi::compare_no_case(header.name, "Content-Transfer-Encoding") == 0) {
            copy(at, header.begin);
            at = header.end;
        }
    }
    copy_headers(at, place.headers_end);
    out_.add(part.headers);
    write_line_end();
}

void draft_writer::write_contents(const draft_part& part)
{
    if (part.content) {
        out_.add(part.content);
    } else if (is_intact(part)) {
        copy(part.place->body, part.place->end);
    } else {
        write_parts(part);
    }
}

void draft_writer::write_parts(const draft_part& multipart)
{
    const part_place* place = multipart.place;
    const std::string delimiter = "--" + (place ? place->boundary : multipart.boundary);
    if (place) {
        copy(place->body, place->delimiters.empty() ? place->closing : place->delimiters.front());
    }
    bool at_line_start = true;
    bool new_at_end = true;
    for (const draft_ptr& part : multipart.parts) {
        if (!at_line_start) {
            write_line_end();
        }
        const std::size_t number = place ? number_in(*place, part->place) : 0;
        new_at_end = !place || number == place->parts.size();
        if (new_at_end) {
            out_.add(delimiter + from_.line_end_);
            write_part(*part);
            at_line_start = false;
            continue;
        }
        const part_place& old = place->parts[number];
        copy(place->delimiters[number], old.begin);
        if (old.begin == from_.source_->size() && !is_intact(*part)) {
            write_line_end(); // the delimiter line may have no line end
        }
        write_part(*part);
        const std::uint64_t next = place->next_delimiter(number);
        copy(old.end, next);
        // Without a line end ahead of its delimiter line the part was empty, or the document ends here.
        const bool delimiter_follows = number + 1 < place->parts.size() || place->is_closed;
        at_line_start = delimiter_follows && (next > old.end || is_intact(*part));
    }
    if (place && place->is_closed) {
        if (!at_line_start) {
            write_line_end();
        }
        copy(place->closing, place->end);
    } else if (new_at_end) {
        out_.add(from_.line_end_ + delimiter + "--" + (place ? std::string() : from_.line_end_));
    }
}

} // namespace host
