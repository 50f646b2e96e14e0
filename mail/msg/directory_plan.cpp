#include "mail/msg/directory_plan.h"

#include "store/property_value.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <bit>
#include <clocale>
#include <cwctype>
#include <stdexcept>
#include <string>
#include <utility>

namespace host::msg {

namespace {

/// Upper-case letters of all languages, independent of the locale of the process.
class upper_case
{
public:
    upper_case()
        : locale_(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr))
    {}
    upper_case(const upper_case&) = delete;
    upper_case& operator=(const upper_case&) = delete;
    ~upper_case()
    {
        if (locale_) {
            ::freelocale(locale_);
        }
    }

    [[nodiscard]] std::wstring operator()(std::wstring name) const
    {
        for (wchar_t& letter : name) {
            if (letter < 0x80 || !locale_) {
                letter = letter >= L'a' && letter <= L'z' ? letter - (L'a' - L'A') : letter;
            } else {
                letter = static_cast<wchar_t>(::towupper_l(static_cast<std::wint_t>(letter), locale_));
            }
        }
        return name;
    }

private:
    locale_t locale_;
};

struct sibling
{
    std::string key; ///< the name in upper case, UTF-16 with the high byte first
    std::uint32_t index;
};

bool precedes(const sibling& left, const sibling& right)
{
    return left.key.size() != right.key.size() ? left.key.size() < right.key.size() : left.key < right.key;
}

class planner
{
public:
    std::vector<planned_entry> plan(const storage_tree& contents)
    {
        planned_entry& root = add("Root Entry", entry_type::root);
        root.entry.class_id = contents.class_id;
        add_children(contents, 0);
        return std::move(entries_);
    }

private:
    planned_entry& add(const std::string& name, entry_type type)
    {
        planned_entry& added = entries_.emplace_back();
        added.entry.name = to_utf16le(winapi::conv_to_wide(name, winapi::code_page_utf8));
        added.entry.type = type;
        if (added.entry.name.size() > longest_part_name * 2) {
            throw std::runtime_error("the name of a part of the message is too long for a message file");
        }
        return added;
    }

    void add_children(const storage_tree& tree, std::uint32_t parent)
    {
        std::vector<sibling> siblings;
        siblings.reserve(tree.streams.size() + tree.storages.size());
        const auto next = [&](const std::string& name) {
            siblings.push_back({key_of(name), static_cast<std::uint32_t>(entries_.size())});
        };
        for (const auto& stream : tree.streams) {
            next(stream.name);
            planned_entry& added = add(stream.name, entry_type::stream);
            added.contents = stream.contents.get();
            added.entry.size = stream.contents->size();
        }
        const auto first_storage = static_cast<std::uint32_t>(entries_.size());
        for (const auto& storage : tree.storages) {
            next(storage.name);
            add(storage.name, entry_type::storage).entry.class_id = storage.contents->class_id;
        }
        std::sort(siblings.begin(), siblings.end(), precedes);
        const std::size_t full_levels = std::bit_width(siblings.size() + 1) - 1;
        entries_[parent].entry.child = join(siblings, 0, siblings.size(), full_levels);
        for (std::uint32_t i = 0; i < tree.storages.size(); ++i) {
            add_children(*tree.storages[i].contents, first_storage + i);
        }
    }

    /// Makes a tree of the siblings from `begin` up to `end` and returns its root. Only the nodes below the full levels
    /// are red, so that each path from the root has the same number of black nodes.
    std::uint32_t join(const std::vector<sibling>& siblings, std::size_t begin, std::size_t end,
                       std::size_t levels_left)
    {
        if (begin == end) {
            return no_entry;
        }
        const std::size_t middle = begin + (end - begin) / 2;
        const std::size_t below = levels_left == 0 ? 0 : levels_left - 1;
        const std::uint32_t left = join(siblings, begin, middle, below);
        const std::uint32_t right = join(siblings, middle + 1, end, below);
        planned_entry& node = entries_[siblings[middle].index];
        node.entry.left = left;
        node.entry.right = right;
        node.black = levels_left != 0;
        return siblings[middle].index;
    }

    [[nodiscard]] std::string key_of(const std::string& name) const
    {
        std::string key = to_utf16le(upper_(winapi::conv_to_wide(name, winapi::code_page_utf8)));
        for (std::size_t i = 0; i < key.size(); i += 2) {
            std::swap(key[i], key[i + 1]);
        }
        return key;
    }

    upper_case upper_;
    std::vector<planned_entry> entries_;
};

} // namespace

std::vector<planned_entry> plan_directory(const storage_tree& contents)
{
    return planner().plan(contents);
}

} // namespace host::msg
