#include "tool/http/fields.h"

#include "tool/system/ascii.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <stdexcept>

namespace http {

namespace {

[[nodiscard]] int folded(char value) noexcept
{
    return static_cast<unsigned char>(winapi::ascii_lower(value));
}

/// Compares two names, neither of which is empty. Most names differ in their first letter.
[[nodiscard]] inline int compare(range left, range right) noexcept
{
    if (const int difference = folded(left.front()) - folded(right.front()); difference != 0) {
        return difference;
    }
    return winapi::compare_no_case(left, right);
}

[[nodiscard]] inline bool same_name(range left, range right) noexcept
{
    return left.size() == right.size() && compare(left, right) == 0;
}

/// Orders few entries and removes all but the first of each name. Returns the new end.
field* order_few(field* const begin, field* const end) noexcept
{
    field* ordered = begin;
    for (const field* next = begin; next != end; ++next) {
        const field entry = *next;
        field* place = ordered;
        int difference = 1;
        while (place != begin && (difference = compare(entry.first, place[-1].first)) < 0) {
            --place;
        }
        if (difference != 0) {
            for (field* to = ordered++; to != place; --to) {
                *to = to[-1];
            }
            *place = entry;
        }
    }
    return ordered;
}

/// The same for any number of entries.
field* order_many(field* begin, field* end)
{
    std::stable_sort(begin, end,
                     [](const field& left, const field& right) { return compare(left.first, right.first) < 0; });
    return std::unique(begin, end,
                       [](const field& left, const field& right) { return same_name(left.first, right.first); });
}

} // namespace

bool field_less::operator()(range left, range right) const noexcept
{
    return !left.empty() && !right.empty() && compare(left, right) < 0;
}

fields::fields(const fields& other)
    : size_(other.size_)
    , many_(other.many_)
{
    copy_inline(other);
}

fields::fields(fields&& other) noexcept
    : size_(std::exchange(other.size_, 0))
    , many_(std::move(other.many_))
{
    copy_inline(other);
}

fields& fields::operator=(const fields& other)
{
    if (this != &other) {
        many_ = other.many_;
        size_ = other.size_;
        copy_inline(other);
    }
    return *this;
}

fields& fields::operator=(fields&& other) noexcept
{
    if (this != &other) {
        many_.swap(other.many_);
        other.many_.clear();
        size_ = std::exchange(other.size_, 0);
        copy_inline(other);
    }
    return *this;
}

void fields::copy_inline(const fields& other) noexcept
{
    if (many_.empty()) {
        std::copy_n(other.inline_, size_, inline_);
    }
}

fields::const_iterator fields::find(range name) const noexcept
{
    // A table with an entry that has no name has no other entry.
    if (empty() || name.empty() || begin()->first.empty()) {
        return begin();
    }
    const auto equivalent = [name](const field& entry) { return same_name(entry.first, name); };
    if (size_ <= inline_size) {
        return std::find_if(begin(), end(), equivalent);
    }
    const const_iterator place = std::lower_bound(
        begin(), end(), name, [](const field& entry, range wanted) { return compare(entry.first, wanted) < 0; });
    return place != end() && equivalent(*place) ? place : end();
}

range fields::at(range name) const
{
    const const_iterator found = find(name);
    if (found == end()) {
        throw std::out_of_range("http::fields::at");
    }
    return found->second;
}

std::pair<fields::const_iterator, bool> fields::emplace(range name, range value)
{
    if (const const_iterator found = find(name); found != end()) {
        return {found, false};
    }
    append(name, value);
    field* const added = entries() + size_ - 1;
    field* const place = std::upper_bound(
        entries(), added, name, [](range wanted, const field& entry) { return compare(wanted, entry.first) < 0; });
    std::rotate(place, added, added + 1);
    return {place, true};
}

void fields::erase(const_iterator position) noexcept
{
    field* const place = entries() + (position - begin());
    std::copy(place + 1, entries() + size_, place);
    --size_;
    shrink();
}

void fields::append_to_many(const field& entry)
{
    if (many_.empty()) {
        many_.reserve(2 * inline_size);
        many_.assign(inline_, inline_ + size_);
    }
    many_.push_back(entry);
    ++size_;
}

void fields::order()
{
    field* const first = entries();
    const field* const last = size_ <= inline_size ? order_few(first, first + size_) : order_many(first, first + size_);
    size_ = static_cast<std::size_t>(last - first);
    shrink();
}

void fields::shrink() noexcept
{
    if (many_.empty()) {
        return;
    }
    if (size_ <= inline_size) {
        std::copy_n(many_.data(), size_, inline_);
        many_.clear();
    } else {
        many_.resize(size_);
    }
}

void fields::move_text(const char* from, const char* to) noexcept
{
    for (std::size_t index = 0; index < size_; ++index) {
        field& entry = entries()[index];
        entry = {moved_text(entry.first, from, to), moved_text(entry.second, from, to)};
    }
}

} // namespace http
