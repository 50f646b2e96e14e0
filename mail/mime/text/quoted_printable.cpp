#include "mail/mime/text/quoted_printable.h"

#include "mail/mime/text/line_limits.h"

namespace host {

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view soft_line_end = "=\r\n";

bool is_literal(char c)
{
    return c > ' ' && c <= '~' && c != '=';
}

} // namespace

void quoted_printable::append(std::string_view text, std::string& out)
{
    for (const char c : text) {
        put(c, out);
    }
}

void quoted_printable::finish(std::string& out)
{
    put_blank(!cr_, out);
    if (cr_) {
        put_code('\r', out);
        cr_ = false;
    }
    if (column_ != 0) {
        out += soft_line_end;
        column_ = 0;
    }
}

void quoted_printable::put(char c, std::string& out)
{
    if (cr_ && c == '\n') {
        put_blank(true, out);
        out += line_end;
        cr_ = false;
        column_ = 0;
        return;
    }
    if (cr_) {
        put_blank(false, out);
        put_code('\r', out);
        cr_ = false;
    }
    if (c == '\r') {
        cr_ = true;
        return;
    }
    put_blank(false, out);
    if (c == ' ' || c == '\t') {
        blank_ = c;
    } else if (is_literal(c)) {
        put_token({&c, 1}, out);
    } else {
        put_code(c, out);
    }
    if (c == '\n') { // keeps the line structure visible in the encoded text
        out += soft_line_end;
        column_ = 0;
    }
}

void quoted_printable::put_blank(bool at_line_end, std::string& out)
{
    if (blank_ == '\0') {
        return;
    }
    if (at_line_end) {
        put_code(blank_, out);
    } else {
        put_token({&blank_, 1}, out);
    }
    blank_ = '\0';
}

void quoted_printable::put_code(char c, std::string& out)
{
    static constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    const char code[3] = {'=', digits[byte >> 4U], digits[byte & 0x0FU]};
    put_token({code, sizeof code}, out);
}

void quoted_printable::put_token(std::string_view token, std::string& out)
{
    if (column_ + token.size() >= longest_line) { // the last column is reserved for the soft line break
        out += soft_line_end;
        column_ = 0;
    }
    out += token;
    column_ += token.size();
}

} // namespace host
