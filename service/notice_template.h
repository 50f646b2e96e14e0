#pragma once

#include "service/cause.h"
#include "service/notice_texts.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// What a notice reports.
struct notice
{
    cause why = cause::threat;
    std::string_view threat;      ///< that an engine found; empty for other causes
    std::string_view object_name; ///< may be empty
};

/// The page of a notice, with placeholders for its values, as docs/notices.md describes it. Not modified after its
/// construction, so thread-safe.
class notice_template
{
public:
    static constexpr std::size_t largest = std::size_t{256} << 10U; ///< bytes of a text

    /// The delivered page.
    explicit notice_template(notice_language language = notice_language::english);
    /// Throws std::invalid_argument with the number of the line and the error.
    notice_template(std::string_view text, notice_language language);

    /// Returns the page. All values are escaped for HTML.
    [[nodiscard]] std::string page(const notice& reported) const;

private:
    /// A part of the text, followed by a value, or a condition on the pieces up to `end`.
    struct piece
    {
        std::string text;
        std::size_t field = 0; ///< an index of the table of fields
        enum class kind
        {
            value,
            if_present,
            if_absent,
            end
        } what = kind::end;
        std::size_t end = 0; ///< index of the piece that ends the condition
    };
    class reader;

    std::vector<piece> pieces_;
    notice_language language_;
};

/// Returns the template in a file, whose name is UTF-8; the delivered page for an empty name. Throws
/// std::runtime_error if the file cannot be read, and std::invalid_argument if it is no valid template or its page
/// would refer to a resource outside of it. Both texts name the file, and the second one the line.
[[nodiscard]] notice_template load_notice(const std::string& file, notice_language language);

} // namespace service
