#include "service/notice_template.h"
#include "service/page_references.h"
#include "service/safe_text.h"
#include "service/value_places.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace service {

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// Returns one byte more than a template may have, if the file is larger.
std::string read_file(const std::string& file)
{
    const std::filesystem::path path(std::u8string(file.begin(), file.end()));
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw std::runtime_error(error ? error.message() : "not a file");
    }
    std::ifstream input(path, std::ios::binary);
    std::string text(byte_order_mark.size() + notice_template::largest + 1, '\0');
    input.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!input.eof() && !input) {
        throw std::runtime_error("cannot be read");
    }
    text.resize(static_cast<std::size_t>(input.gcount()));
    return text;
}

notice_template checked_template(std::string_view text, notice_language language)
{
    if (text.starts_with(byte_order_mark)) {
        text.remove_prefix(byte_order_mark.size());
    }
    notice_template made(text, language);
    if (const auto found = outside_reference(text)) {
        throw std::invalid_argument("line " + std::to_string(found->line) + ": '" + found->what +
                                    "' is not allowed: a notice must be complete without anything outside of it");
    }
    if (const auto found = value_in_markup(text)) {
        throw std::invalid_argument("line " + std::to_string(found->line) + ": '" + found->placeholder +
                                    "' is allowed in the text only, not in a tag, a comment or a style sheet");
    }
    return made;
}

std::string error_text(const std::string& file, const std::exception& problem)
{
    return "the notice '" + display_text(file) + "': " + problem.what();
}

} // namespace

notice_template load_notice(const std::string& file, notice_language language)
{
    if (file.empty()) {
        return notice_template(language);
    }
    try {
        return checked_template(read_file(file), language);
    } catch (const std::invalid_argument& problem) {
        throw std::invalid_argument(error_text(file, problem));
    } catch (const std::exception& problem) {
        throw std::runtime_error(error_text(file, problem));
    }
}

} // namespace service
