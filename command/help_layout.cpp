#include "command/help_layout.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace command {

namespace {

constexpr std::size_t line_width = 80;
constexpr std::size_t text_column = 26;

/// Appends the words of `text` to `out`, whose last line has `column` characters. Further lines begin at `indent`.
void append_wrapped(std::string& out, std::string_view text, std::size_t column, std::size_t indent)
{
    std::istringstream words{std::string(text)};
    bool first = true;
    for (std::string word; words >> word; first = false) {
        const std::size_t blank = first ? 0 : 1;
        if (!first && column + blank + word.size() > line_width) {
            out.append("\n").append(indent, ' ');
            column = indent;
        } else {
            out.append(blank, ' ');
            column += blank;
        }
        out.append(word);
        column += word.size();
    }
    out.push_back('\n');
}

/// Returns a row of two columns. A head that is too long has a line of its own.
std::string row(const std::string& head, const std::string& text)
{
    constexpr std::size_t left = 2;
    std::string out = std::string(left, ' ') + head;
    if (text.empty()) {
        return out + "\n";
    }
    if (out.size() + left > text_column) {
        out.append("\n").append(text_column, ' ');
    } else {
        out.resize(text_column, ' ');
    }
    append_wrapped(out, text, text_column, text_column);
    return out;
}

/// Returns the text with its paragraphs wrapped. Lines that begin with a blank are tables and remain as they are.
std::string wrapped_paragraphs(const std::string& text)
{
    std::string out;
    std::string paragraph;
    const auto end_paragraph = [&out, &paragraph] {
        if (!paragraph.empty()) {
            append_wrapped(out, paragraph, 0, 0);
            paragraph.clear();
        }
    };
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == ' ') {
            end_paragraph();
            out.append(line).push_back('\n');
        } else {
            paragraph.append(line).push_back(' ');
        }
    }
    end_paragraph();
    return out;
}

std::string list_of(const std::set<CLI::Option*>& options)
{
    std::string text;
    for (const CLI::Option* option : options) {
        text.append(text.empty() ? "" : ", ").append(option->get_name());
    }
    return text;
}

class layout final : public CLI::Formatter
{
public:
    std::string make_option(const CLI::Option* option, bool is_positional) const override
    {
        std::string head = option->get_name(is_positional, !is_positional);
        if (option->get_type_size() != 0 && !is_positional) {
            // Behind the colon are the checks, such as the range.
            const std::string type = option->get_type_name();
            head.append(" ").append(type.substr(0, type.find(':')));
            std::string value = option->get_default_str();
            if (!value.empty()) {
                head.append(value.front() == '[' ? " " + value : " [" + value + "]");
            }
        }
        std::string text = option->get_description();
        if (!option->get_needs().empty()) {
            text.append("; with ").append(list_of(option->get_needs()));
        }
        if (!option->get_excludes().empty()) {
            text.append("; not with ").append(list_of(option->get_excludes()));
        }
        return row(head, text);
    }

    std::string make_subcommand(const CLI::App* command) const override
    {
        return row(command->get_display_name(true), command->get_description());
    }

    std::string make_footer(const CLI::App* app) const override { return wrapped_paragraphs(app->get_footer()); }
};

} // namespace

std::shared_ptr<CLI::FormatterBase> help_layout()
{
    return std::make_shared<layout>();
}

} // namespace command
