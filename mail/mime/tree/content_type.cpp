#include "mail/mime/tree/content_type.h"

#include "tool/system/conversions.h"

#include <algorithm>

namespace host {

namespace {

bool is_space(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Takes the pieces of a structured header value.
class value_reader
{
public:
    explicit value_reader(std::string_view text)
        : rest_(text)
    {}

    void skip_blanks()
    {
        int depth = 0;
        while (!rest_.empty() && (depth > 0 || is_space(rest_.front()) || rest_.front() == '(')) {
            if (rest_.front() == '(') {
                ++depth;
            } else if (rest_.front() == ')') {
                --depth;
            } else if (rest_.front() == '\\' && rest_.size() > 1) {
                rest_.remove_prefix(1);
            }
            rest_.remove_prefix(1);
        }
    }
    std::string token(std::string_view ends)
    {
        std::string result;
        while (!rest_.empty() && !is_space(rest_.front()) && ends.find(rest_.front()) == std::string_view::npos) {
            result += rest_.front();
            rest_.remove_prefix(1);
        }
        return result;
    }
    std::string text()
    {
        if (rest_.empty() || rest_.front() != '"') {
            return token(";");
        }
        std::string result;
        for (rest_.remove_prefix(1); !rest_.empty() && rest_.front() != '"'; rest_.remove_prefix(1)) {
            if (rest_.front() == '\\' && rest_.size() > 1) {
                rest_.remove_prefix(1);
            }
            if (rest_.front() != '\r' && rest_.front() != '\n') {
                result += rest_.front();
            }
        }
        rest_.remove_prefix(std::min<std::size_t>(1, rest_.size()));
        return result;
    }
    /// Removes everything up to and including the character. Returns false if it does not occur.
    bool pass(char wanted)
    {
        const std::size_t at = rest_.find(wanted);
        rest_.remove_prefix(std::min(at, rest_.size() - 1) + 1);
        return at != std::string_view::npos;
    }
    [[nodiscard]] bool at(char wanted) const { return !rest_.empty() && rest_.front() == wanted; }
    [[nodiscard]] bool at_end() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

} // namespace

content_type parse_content_type(std::string_view value)
{
    content_type result;
    value_reader reader(value);
    reader.skip_blanks();
    result.type = reader.token(";/(");
    reader.skip_blanks();
    if (reader.at('/')) {
        reader.pass('/');
        reader.skip_blanks();
        result.type += '/' + reader.token(";(");
    }
    std::transform(result.type.begin(), result.type.end(), result.type.begin(), lower);
    while (!reader.at_end() && reader.pass(';')) {
        reader.skip_blanks();
        const std::string name = reader.token("=;(");
        reader.skip_blanks();
        if (!reader.at('=')) {
            continue;
        }
        reader.pass('=');
        reader.skip_blanks();
        std::string text = reader.text();
        if (winapi::compare_no_case(name, "boundary") == 0 && result.boundary.empty()) {
            result.boundary = std::move(text);
        }
    }
    return result;
}

} // namespace host
