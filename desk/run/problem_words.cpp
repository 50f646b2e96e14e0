#include "desk/run/problem_words.h"

#include "tool/system/ascii.h"
#include "tool/system/code_texts.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace host {

namespace {

struct session_text
{
    std::string_view text;
    const char* words;
};

/// What a session reports when an exchange fails.
constexpr std::array session_texts{
    session_text{"send request timeout occured", "no answer in time"},
    session_text{"send_respmod_continue(): timeout occured", "no answer in time"},
    session_text{"request failed: server reply with error", "the answer is not a verdict"},
};

constexpr std::string_view status_text = "response from server is ";
constexpr std::string_view call_text = "winapi error occured at source ";
constexpr std::string_view code_mark = "): error code ";

std::string words_of(std::uint32_t code)
{
    const auto* const found = std::find_if(winapi::code_texts.begin(), winapi::code_texts.end(),
                                           [code](const winapi::code_text& entry) { return entry.code == code; });
    if (found == winapi::code_texts.end()) {
        return "system error " + std::to_string(code);
    }
    std::string words = found->text;
    words.front() = winapi::ascii_lower(words.front());
    return words;
}

} // namespace

std::string problem_words(std::string_view text)
{
    for (const session_text& known : session_texts) {
        if (text == known.text) {
            return known.words;
        }
    }
    if (text.starts_with(status_text)) {
        return "the service answered with status " + std::string(text.substr(status_text.size()));
    }
    const std::size_t begin = text.find(call_text);
    const std::size_t mark = text.find(code_mark, begin);
    if (begin == std::string_view::npos || mark == std::string_view::npos) {
        return std::string(text);
    }
    std::uint32_t code = 0;
    const char* const digits = text.data() + mark + code_mark.size();
    if (std::from_chars(digits, text.data() + text.size(), code).ec != std::errc()) {
        return std::string(text);
    }
    // What precedes the text of the call belongs to its caller. What follows the number repeats its parameters.
    std::string result(text.substr(0, begin));
    if (!result.empty() && !result.ends_with(' ')) {
        result += ": ";
    }
    return result.append(words_of(code));
}

} // namespace host
