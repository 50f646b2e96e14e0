#pragma once

#include <string>
#include <string_view>

namespace host {

/// Encodes bytes as quoted-printable text without loss: a CR LF is a line end, a single CR or LF is encoded. Lines have
/// at most 76 characters and all end in CR LF, including the last one.
class quoted_printable
{
public:
    /// Appends the encoded form of `text` to `out`; up to three bytes remain pending.
    void append(std::string_view text, std::string& out);
    /// Appends pending bytes and ends the last line. The next call of append starts a new text.
    void finish(std::string& out);

private:
    void put(char c, std::string& out);
    void put_blank(bool at_line_end, std::string& out);
    void put_code(char c, std::string& out);
    void put_token(std::string_view token, std::string& out);

    char blank_ = '\0'; ///< a blank or tab that may be the last character of its line
    bool cr_ = false;   ///< a CR that may be the first half of a line end
    std::size_t column_ = 0;
};

} // namespace host
