#include "service/file_names.h"

#include "service/wildcard.h"

#include <algorithm>
#include <utility>

namespace service {

namespace {

constexpr std::size_t longest_half = 512;
constexpr std::u32string_view ignored_at_end = U". ";

struct block
{
    char32_t first;
    char32_t last;
};

/// Control characters, and characters that change or hide how others are shown.
constexpr block invisible[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},       {0x34F, 0x34F},   {0x61C, 0x61C},
    {0x180E, 0x180E}, {0x200B, 0x200F}, {0x2028, 0x202E},   {0x2060, 0x206F}, {0xFE00, 0xFE0F},
    {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF},
};

bool is_invisible(char32_t character)
{
    return std::any_of(std::begin(invisible), std::end(invisible),
                       [character](const block& some) { return character >= some.first && character <= some.last; });
}

std::u32string_view trimmed(std::u32string_view name)
{
    const std::size_t last = name.find_last_not_of(ignored_at_end);
    name = name.substr(0, last + 1);
    return name.substr(std::min(name.find_first_not_of(U' '), name.size()));
}

void add(std::vector<std::u32string>& names, std::u32string_view name)
{
    name = trimmed(name);
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
        names.emplace_back(name);
    }
}

/// Adds a name, and what of it is ahead of the name of a stream within the file.
void add_with_streams(std::vector<std::u32string>& names, std::u32string_view name)
{
    add(names, name);
    add(names, name.substr(0, name.find(U':')));
}

void add_visible(std::vector<std::u32string>& names, std::u32string_view raw)
{
    std::u32string name(raw);
    std::erase_if(name, is_invisible);
    if (name.size() > 2 * longest_half) {
        name.erase(longest_half, name.size() - 2 * longest_half);
    }
    add_with_streams(names, name);
    std::u32string_view rest = name;
    rest = rest.substr(0, rest.find_last_not_of(U"/\\. ") + 1);
    add_with_streams(names, rest.substr(rest.find_last_of(U"/\\") + 1));
}

} // namespace

std::vector<std::u32string> file_names(std::string_view name)
{
    const std::u32string raw = without_case(name);
    std::vector<std::u32string> names;
    add_visible(names, raw);
    if (const std::size_t zero = raw.find(U'\0'); zero != std::u32string::npos) {
        add_visible(names, std::u32string_view(raw).substr(0, zero)); // some systems end the name here
    }
    return names;
}

} // namespace service
