#pragma once

#include <string>
#include <string_view>

namespace host {

/// Writes bytes as quoted-printable text that decodes to the very same bytes: a CR LF is a line end, a CR or LF alone
/// is encoded. Lines have 76 characters at most and end in CR LF, the last one too.
class quoted_printable
{
public:
    /// Appends the encoded form of `text` to `out`; up to three bytes are held back.
    void append(std::string_view text, std::string& out);
    /// Appends what was held back and ends the last line. The next text begins anew.
    void finish(std::string& out);

private:
    void put(char c, std::string& out);
    void put_blank(bool at_line_end, std::string& out);
    void put_code(char c, std::string& out);
    void put_token(std::string_view token, std::string& out);

    char blank_ = '\0'; ///< a blank or tab that may be the last of its line
    bool cr_ = false;   ///< a CR that may be half of a line end
    std::size_t column_ = 0;
};

} // namespace host
