#include "service/notice_template.h"

#include "service/safe_text.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

constexpr std::string_view opening = "{{";
constexpr std::string_view closing = "}}";
constexpr std::size_t longest_shown = 40; ///< characters of an invalid placeholder in an error

using texts = notice_texts;

/// A name between the braces. A field without a text can only be a condition.
struct field
{
    std::string_view name;
    std::string_view texts::*text = nullptr;
    std::string_view notice::*value = nullptr;
    std::array<cause, 4> causes{};
    std::size_t cause_count = 0;
};

constexpr field of_text(std::string_view name, std::string_view texts::*text)
{
    return {name, text, nullptr, {}, 0};
}

constexpr field of_value(std::string_view name, std::string_view notice::*value)
{
    return {name, nullptr, value, {}, 0};
}

template <typename... Causes>
constexpr field of_cause(std::string_view name, Causes... causes)
{
    return {name, nullptr, nullptr, {causes...}, sizeof...(causes)};
}

constexpr std::array fields{
    of_text("language", &texts::language),
    of_text("title", &texts::title),
    of_text("heading", &texts::heading),
    of_text("explanation", &texts::explanation),
    of_text("reason", &texts::reason),
    of_text("advice", &texts::advice),
    of_text("label_name", &texts::label_name),
    of_text("label_threat", &texts::label_threat),
    of_text("label_reason", &texts::label_reason),
    of_value("name", &notice::object_name),
    of_value("threat", &notice::threat),
    of_cause("found", cause::threat),
    of_cause("unchecked", cause::not_looked_into, cause::too_large, cause::no_engine, cause::too_late),
    of_cause("forbidden", cause::forbidden_name, cause::forbidden_type),
    of_cause("not_looked_into", cause::not_looked_into),
    of_cause("too_large", cause::too_large),
    of_cause("no_engine", cause::no_engine),
    of_cause("too_late", cause::too_late),
    of_cause("forbidden_name", cause::forbidden_name),
    of_cause("forbidden_type", cause::forbidden_type),
};

std::string_view value_of(const field& wanted, const texts& in, const notice& reported)
{
    return wanted.text != nullptr ? in.*wanted.text : reported.*wanted.value;
}

bool is_present(const field& wanted, const texts& in, const notice& reported)
{
    if (wanted.cause_count == 0) {
        return !value_of(wanted, in, reported).empty();
    }
    const auto* const end = wanted.causes.begin() + wanted.cause_count;
    return std::find(wanted.causes.begin(), end, reported.why) != end;
}

} // namespace

/// Splits a text into pieces.
class notice_template::reader
{
public:
    explicit reader(std::string_view text)
        : rest_(text)
    {}

    std::vector<piece> read()
    {
        check_characters();
        for (std::size_t begin = rest_.find(opening); begin != std::string_view::npos; begin = rest_.find(opening)) {
            std::string ahead(take(begin));
            const std::size_t end = rest_.find(closing);
            if (end == std::string_view::npos || rest_.substr(0, end).find('\n') != std::string_view::npos) {
                fail("'{{' without '}}' in the same line");
            }
            add(std::move(ahead), rest_.substr(opening.size(), end - opening.size()));
            take(end + closing.size());
        }
        if (!open_.empty()) {
            line_ = open_.back().line;
            fail("'{{/" + std::string(fields[pieces_[open_.back().piece].field].name) + "}}' is missing");
        }
        pieces_.push_back({std::string(rest_)});
        return std::move(pieces_);
    }

private:
    /// A condition whose end has not been read.
    struct condition
    {
        std::size_t piece = 0;
        std::size_t line = 0;
    };

    [[noreturn]] void fail(const std::string& why) const
    {
        throw std::invalid_argument("line " + std::to_string(line_) + ": " + why);
    }
    void check_characters()
    {
        if (rest_.size() > largest) {
            throw std::invalid_argument("more than " + std::to_string(largest) + " bytes");
        }
        for (std::string_view text = rest_; !text.empty();) {
            const auto next = winapi::utf::first_code_point(text);
            if (!next.valid || next.code_point == 0) {
                fail("not UTF-8");
            }
            line_ += next.code_point == '\n' ? 1 : 0;
            text.remove_prefix(next.size);
        }
        line_ = 1;
    }
    std::string_view take(std::size_t count)
    {
        const std::string_view taken = rest_.substr(0, count);
        line_ += static_cast<std::size_t>(std::count(taken.begin(), taken.end(), '\n'));
        rest_.remove_prefix(count);
        return taken;
    }
    void add(std::string ahead, std::string_view placeholder)
    {
        piece made{std::move(ahead)};
        std::string_view name = placeholder;
        const char mark = name.empty() ? '\0' : name.front();
        if (mark == '#' || mark == '^' || mark == '/') {
            name.remove_prefix(1);
        }
        const auto* const found =
            std::find_if(fields.begin(), fields.end(), [name](const field& known) { return known.name == name; });
        if (found == fields.end()) {
            fail("'{{" + display_text(placeholder, longest_shown) + "}}' is not known");
        }
        made.field = static_cast<std::size_t>(std::distance(fields.begin(), found));
        if (mark == '#' || mark == '^') {
            made.what = mark == '#' ? piece::kind::if_present : piece::kind::if_absent;
            open_.push_back({pieces_.size(), line_});
        } else if (mark == '/') {
            end_condition(made.field, name);
        } else if (found->cause_count != 0) {
            fail("'{{" + std::string(name) + "}}' has no text: it can only be a condition, '{{#" + std::string(name) +
                 "}}'");
        } else {
            made.what = piece::kind::value;
        }
        pieces_.push_back(std::move(made));
    }
    void end_condition(std::size_t ended, std::string_view name)
    {
        if (open_.empty() || pieces_[open_.back().piece].field != ended) {
            fail("'{{/" + std::string(name) + "}}' ends no condition that is open here");
        }
        pieces_[open_.back().piece].end = pieces_.size();
        open_.pop_back();
    }

    std::string_view rest_;
    std::size_t line_ = 1;
    std::vector<piece> pieces_;
    std::vector<condition> open_;
};

notice_template::notice_template(notice_language language)
    : notice_template(delivered_notice(), language)
{}

notice_template::notice_template(std::string_view text, notice_language language)
    : pieces_(reader(text).read())
    , language_(language)
{}

std::string notice_template::page(const notice& reported) const
{
    const texts in = texts_of(language_, reported.why);
    std::string made;
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        const piece& next = pieces_[i];
        made.append(next.text);
        const field& wanted = fields[next.field];
        if (next.what == piece::kind::value) {
            made.append(html_escaped(display_text(value_of(wanted, in, reported))));
        } else if (next.what != piece::kind::end &&
                   is_present(wanted, in, reported) != (next.what == piece::kind::if_present)) {
            i = next.end; // the text ahead of the end is part of the condition
        }
    }
    return made;
}

} // namespace service
