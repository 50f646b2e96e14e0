#include "tool/http/method_words.h"

#include "tool/system/conversions.h"

#include <algorithm>
#include <array>

namespace http {

namespace {

using namespace std::string_view_literals;

constexpr std::array basic{"GET"sv,    "OPTIONS"sv, "HEAD"sv,    "POST"sv, "PUT"sv,
                           "DELETE"sv, "TRACE"sv,   "CONNECT"sv, "PATCH"sv};

constexpr std::array dav{"BCOPY"sv,     "BDELETE"sv, "BMOVE"sv,     "BPROPFIND"sv, "BPROPPATCH"sv,  "COPY"sv,
                         "LOCK"sv,      "MKCOL"sv,   "MOVE"sv,      "NOTIFY"sv,    "POLL"sv,        "PROPFIND"sv,
                         "PROPPATCH"sv, "SEARCH"sv,  "SUBSCRIBE"sv, "UNLOCK"sv,    "UNSUBSCRIBE"sv, "X-MS-ENUMATTS"sv};

constexpr std::array versioning{"VERSION-CONTROL"sv,  "CHECKOUT"sv,   "REPORT"sv,     "CHECKIN"sv,
                                "UNCHECKOUT"sv,       "UPDATE"sv,     "LABEL"sv,      "MERGE"sv,
                                "BASELINE-CONTROL"sv, "MKACTIVITY"sv, "MKWORKSPACE"sv};

constexpr std::array rpc{"CCM_POST"sv, "RPC_CONNECT"sv, "RPC_OUT_DATA"sv, "RPC_IN_DATA"sv};

static_assert(std::ranges::max(basic, {}, &std::string_view::size).size() == longest_basic_method);

/// The words that are read, ordered by their first letters.
struct words_by_letter
{
    std::array<std::string_view, basic.size() + dav.size() + versioning.size()> words;
    std::array<std::uint8_t, 'Z' - 'A' + 2> first{}; ///< place of the first word of each letter, and the end
};

constexpr words_by_letter ordered_words()
{
    words_by_letter table;
    std::size_t count = 0;
    const auto add = [&](std::span<const std::string_view> group, char letter) {
        for (const std::string_view word : group) {
            if (word.front() == letter) {
                table.words[count++] = word;
            }
        }
    };
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        table.first[static_cast<std::size_t>(letter - 'A')] = static_cast<std::uint8_t>(count);
        add(basic, letter);
        add(dav, letter);
        add(versioning, letter);
    }
    table.first.back() = static_cast<std::uint8_t>(count);
    return table;
}

constexpr words_by_letter ordered = ordered_words();

struct numbered_word
{
    std::string_view word;
    std::uint32_t id;
};

constexpr std::array numbered{
    numbered_word{"OPTIONS", 1},
    numbered_word{"GET", 2},
    numbered_word{"HEAD", 3},
    numbered_word{"POST", 4},
    numbered_word{"PUT", 5},
    numbered_word{"DELETE", 6},
    numbered_word{"TRACE", 7},
    numbered_word{"CONNECT", 8},
    numbered_word{"BCOPY", 9},
    numbered_word{"BDELETE", 10},
    numbered_word{"BMOVE", 11},
    numbered_word{"BPROPFIND", 12},
    numbered_word{"BPROPPATCH", 13},
    numbered_word{"COPY", 14},
    numbered_word{"LOCK", 15},
    numbered_word{"MKCOL", 16},
    numbered_word{"MOVE", 17},
    numbered_word{"NOTIFY", 18},
    numbered_word{"POLL", 19},
    numbered_word{"PROPFIND", 20},
    numbered_word{"PROPPATCH", 21},
    numbered_word{"SEARCH", 22},
    numbered_word{"SUBSCRIBE", 23},
    numbered_word{"UNLOCK", 24},
    numbered_word{"UNSUBSCRIBE", 25},
    numbered_word{"X-MS-ENUMATTS", 26},
    numbered_word{"VERSION-CONTROL", 27},
    numbered_word{"CHECKOUT", 28},
    numbered_word{"REPORT", 29},
    numbered_word{"CHECKIN", 30},
    numbered_word{"UNCHECKOUT", 31},
    numbered_word{"UPDATE", 32},
    numbered_word{"LABEL", 33},
    numbered_word{"MERGE", 34},
    numbered_word{"BASELINE-CONTROL", 35},
    numbered_word{"MKACTIVITY", 36},
    numbered_word{"MKWORKSPACE", 37},
    numbered_word{"BITS_POST", 50},
    numbered_word{"CCM_POST", 51},
    numbered_word{"PATCH", 52},
};

} // namespace

std::span<const std::string_view> basic_methods() noexcept
{
    return basic;
}

std::span<const std::string_view> dav_methods() noexcept
{
    return dav;
}

std::span<const std::string_view> versioning_methods() noexcept
{
    return versioning;
}

std::size_t method_word_length(range text) noexcept
{
    if (text.empty() || text.front() < 'A' || text.front() > 'Z') {
        return 0;
    }
    const auto letter = static_cast<std::size_t>(text.front() - 'A');
    for (std::size_t place = ordered.first[letter]; place != ordered.first[letter + 1]; ++place) {
        if (text.starts_with(ordered.words[place])) {
            return ordered.words[place].size();
        }
    }
    return 0;
}

std::span<const std::string_view> rpc_methods() noexcept
{
    return rpc;
}

std::uint32_t method_id(range word) noexcept
{
    for (const numbered_word& entry : numbered) {
        if (winapi::compare_no_case(entry.word, word) == 0) {
            return entry.id;
        }
    }
    return method::unknown;
}

} // namespace http
