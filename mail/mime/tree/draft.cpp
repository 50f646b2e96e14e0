#include "mail/mime/tree/draft.h"

#include "mail/mime/text/quoted_printable.h"
#include "mail/mime/tree/draft_writer.h"
#include "mail/mime/tree/used_boundaries.h"
#include "tool/system/base64.h"

#include <algorithm>
#include <array>
#include <utility>

namespace host {

namespace {

draft_ptr original_part(const part_place& place)
{
    auto part = std::make_unique<draft_part>();
    part->place = &place;
    for (const part_place& inner : place.parts) {
        part->parts.push_back(original_part(inner));
    }
    return part;
}

draft_ptr* find_slot(draft_ptr& slot, const draft_part* part)
{
    if (slot.get() == part) {
        return &slot;
    }
    for (draft_ptr& inner : slot->parts) {
        if (draft_ptr* found = find_slot(inner, part)) {
            return found;
        }
    }
    return nullptr;
}

void collect(const draft_part& part, std::vector<std::uint32_t>& numbers)
{
    if (part.attachment) {
        numbers.push_back(*part.attachment);
    }
    for (const draft_ptr& inner : part.parts) {
        collect(*inner, numbers);
    }
}

/// Adds the boundaries in the new contents of the parts.
void add_contents(const draft_part& part, used_boundaries& used)
{
    if (part.content) {
        used.add(*part.content);
    }
    for (const draft_ptr& inner : part.parts) {
        add_contents(*inner, used);
    }
}

/// Removes the placeholders that have become needless.
void drop_placeholders(draft_part& multipart)
{
    for (const draft_ptr& inner : multipart.parts) {
        drop_placeholders(*inner);
    }
    if (multipart.parts.size() > 1) {
        const auto is_needless = [](const draft_ptr& part) { return part->is_placeholder; };
        std::erase_if(multipart.parts, is_needless);
    }
}

bytes_ptr base64_lines(const bytes& contents, const std::string& line_end)
{
    constexpr std::size_t bytes_of_line = 57;
    scratch result;
    std::array<char, bytes_of_line * 256> block{};
    for (std::uint64_t offset = 0;;) {
        const std::size_t filled = read_all(contents, offset, block.data(), block.size());
        offset += filled;
        std::string lines;
        for (std::string_view rest(block.data(), filled); !rest.empty();) {
            const std::string_view line = rest.substr(0, bytes_of_line);
            lines += winapi::base64::encode(line) + line_end;
            rest.remove_prefix(line.size());
        }
        result.append(lines);
        if (filled < block.size()) {
            return result.freeze();
        }
    }
}

bytes_ptr quoted_lines(const bytes& contents)
{
    quoted_printable encoder;
    scratch result;
    std::array<char, 16384> block{};
    std::string lines;
    for (std::uint64_t offset = 0;;) {
        const std::size_t got = contents.read(offset, block.data(), block.size());
        if (got == 0) {
            break;
        }
        lines.clear();
        encoder.append({block.data(), got}, lines);
        result.append(lines);
        offset += got;
    }
    lines.clear();
    encoder.finish(lines);
    result.append(lines);
    return result.freeze();
}

} // namespace

draft::draft(bytes_ptr source, const part_place& whole)
    : source_(std::move(source))
    , whole_(whole)
    , line_end_(line_end_of(*source_))
    , root_(original_part(whole))
{
    remember(*root_);
}

void draft::remember(draft_part& part)
{
    originals_.emplace(part.place, &part);
    for (const draft_ptr& inner : part.parts) {
        remember(*inner);
    }
}

void draft::forget(const draft_part& part)
{
    originals_.erase(part.place);
    for (const draft_ptr& inner : part.parts) {
        forget(*inner);
    }
}

draft_part* draft::find(const part_path& path)
{
    const part_place* place = part_at(whole_, path);
    const auto found = originals_.find(place);
    return found == originals_.end() ? nullptr : found->second;
}

draft_ptr& draft::slot_of(const draft_part& part)
{
    return *find_slot(root_, &part);
}

void draft::replace(draft_part& old, draft_ptr with)
{
    forget(old);
    slot_of(old) = std::move(with);
}

void draft::remove(draft_part& old)
{
    forget(old);
    draft_ptr& slot = slot_of(old);
    draft_part* parent = nullptr;
    const auto look = [&](const auto& self, draft_part& part) -> void {
        for (const draft_ptr& inner : part.parts) {
            if (inner.get() == &old) {
                parent = &part;
            }
            self(self, *inner);
        }
    };
    look(look, *root_);
    if (!parent || parent->parts.size() == 1) {
        slot = make_leaf("Content-Type: text/plain; charset=utf-8" + line_end_, *bytes_of({}), false, line_end_);
        slot->is_placeholder = true;
        return;
    }
    std::erase_if(parent->parts, [&old](const draft_ptr& inner) { return inner.get() == &old; });
}

draft_part& draft::wrap(draft_part& inner, std::string_view subtype, std::string_view parameters)
{
    used_boundaries used;
    used.add(*source_);
    add_contents(*root_, used);
    auto outer = std::make_unique<draft_part>();
    outer->boundary = used.next(boundaries_);
    outer->headers = "Content-Type: multipart/" + std::string(subtype) + ";" + std::string(parameters) +
                     " boundary=\"" + outer->boundary + "\"" + line_end_;
    draft_ptr& slot = slot_of(inner);
    outer->parts.push_back(std::move(slot));
    slot = std::move(outer);
    return *slot;
}

draft_part& draft::mixed_root()
{
    const bool is_new = !root_->place && root_->headers.starts_with("Content-Type: multipart/mixed;");
    const bool is_old = root_->place && root_->place->type == "multipart/mixed" && !root_->parts.empty();
    return is_new || is_old ? *root_ : wrap(*root_, "mixed");
}

void draft::put_first(draft_ptr part)
{
    auto& parts = mixed_root().parts;
    parts.insert(parts.begin(), std::move(part));
}

void draft::put_last(draft_ptr part)
{
    mixed_root().parts.push_back(std::move(part));
}

void draft::set_header(std::string_view name, std::string lines)
{
    headers_.push_back({std::string(name), std::move(lines)});
}

bytes_ptr draft::finish()
{
    drop_placeholders(*root_);
    return draft_writer(*this).write();
}

std::vector<std::uint32_t> draft::attachments() const
{
    std::vector<std::uint32_t> numbers;
    collect(*root_, numbers);
    return numbers;
}

draft_ptr make_leaf(std::string headers, const bytes& contents, bool is_text, const std::string& line_end)
{
    auto part = std::make_unique<draft_part>();
    const bool quoted = is_text && line_end == "\r\n";
    part->headers =
        std::move(headers) + "Content-Transfer-Encoding: " + (quoted ? "quoted-printable" : "base64") + line_end;
    part->content = quoted ? quoted_lines(contents) : base64_lines(contents, line_end);
    return part;
}

} // namespace host
