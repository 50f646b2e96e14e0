#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace http {

/// A part of a head's text: pointer and length into the raw head buffer. It does not own the text and becomes invalid
/// with the buffer.
using range = std::string_view;

/// Order of header names: ASCII case-insensitive over the length that both share; if that part is equal, the shorter
/// name comes first. An empty name is equivalent to every name; the grammars never produce one.
struct field_less
{
    using is_transparent = void;
    bool operator()(range left, range right) const noexcept;
};

/// One header: its name and its value.
struct field
{
    range first;
    range second;
};

/// Header table, ordered by name. insert() and emplace() keep an existing entry, so that of several lines of one name
/// the first counts. find("host") finds "Host".
///
/// Up to `inline_size` entries are part of the object; more are allocated. Any change invalidates iterators.
class fields
{
public:
    using value_type = field;
    using const_iterator = const field*;

    static constexpr std::size_t inline_size = 32;

    fields() noexcept {} // not defaulted: the places of absent entries stay without a value
    fields(const fields& other);
    fields(fields&& other) noexcept;
    fields& operator=(const fields& other);
    fields& operator=(fields&& other) noexcept;
    ~fields() = default;

    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] const_iterator begin() const noexcept { return entries(); }
    [[nodiscard]] const_iterator end() const noexcept { return entries() + size_; }

    [[nodiscard]] const_iterator find(range name) const noexcept;
    [[nodiscard]] bool contains(range name) const noexcept { return find(name) != end(); }
    /// Returns the value of a name. Throws std::out_of_range if the name is absent.
    [[nodiscard]] range at(range name) const;

    /// Adds an entry. Returns its position, or that of the entry that is there already, and whether it was added.
    std::pair<const_iterator, bool> emplace(range name, range value);
    std::pair<const_iterator, bool> insert(const field& entry) { return emplace(entry.first, entry.second); }
    void erase(const_iterator position) noexcept;

    /// Adds an entry behind the others, whatever its name. Until order() is called, the table supports no other
    /// operation than this one. The name must not be empty.
    void append(range name, range value)
    {
        if (size_ < inline_size) {
            inline_[size_++] = {name, value};
        } else {
            append_to_many({name, value});
        }
    }
    /// Orders the entries that append() added, and removes all but the first of each name.
    void order();

    /// Makes all ranges point into a copy of the text that they point into. `from` and `to` are the beginnings of text
    /// and copy.
    void move_text(const char* from, const char* to) noexcept;

private:
    [[nodiscard]] field* entries() noexcept { return many_.empty() ? inline_ : many_.data(); }
    [[nodiscard]] const field* entries() const noexcept { return many_.empty() ? inline_ : many_.data(); }
    void append_to_many(const field& entry);
    void copy_inline(const fields& other) noexcept;
    void shrink() noexcept;

    std::size_t size_ = 0;
    std::vector<field> many_; ///< all `size_` entries, if they are more than `inline_size`; otherwise empty
    union {
        field inline_[inline_size];
    };
};

/// Makes a range point into a copy of the text that it points into. A range without text is unchanged.
[[nodiscard]] inline range moved_text(range text, const char* from, const char* to) noexcept
{
    return text.data() == nullptr ? text : range(to + (text.data() - from), text.size());
}

} // namespace http
