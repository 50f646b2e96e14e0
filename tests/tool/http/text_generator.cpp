#include "tests/tool/http/text_generator.h"

#include <utility>

namespace test {

namespace {

using namespace std::string_view_literals;

const std::vector<std::string_view> icap_methods{"REQMOD", "RESPMOD", "OPTIONS"};
const std::vector<std::string_view> http_methods{
    "GET",        "OPTIONS",     "HEAD",         "POST",       "PUT",      "DELETE",      "TRACE",
    "CONNECT",    "PATCH",       "BCOPY",        "BDELETE",    "BMOVE",    "BPROPFIND",   "COPY",
    "LOCK",       "MKCOL",       "MOVE",         "NOTIFY",     "POLL",     "PROPFIND",    "PROPPATCH",
    "SEARCH",     "SUBSCRIBE",   "UNLOCK",       "BPROPPATCH", "CHECKOUT", "UNSUBSCRIBE", "VERSION-CONTROL",
    "REPORT",     "CHECKIN",     "UNCHECKOUT",   "UPDATE",     "LABEL",    "MERGE",       "BASELINE-CONTROL",
    "MKACTIVITY", "MKWORKSPACE", "X-MS-ENUMATTS"};
const std::vector<std::string_view> other_methods{"FOO", "RPC_IN_DATA", "CCM_POST", "BITS_POST", "GETX", "M|X", "!"};
const std::vector<std::string_view> targets{
    "/", "icap://127.0.0.1:1344/scan", "*", "/a?b=c#d", "http://host/a/b", "/\xE4\xF6", "host:443", "HTTP"};
const std::vector<std::string_view> spaced_targets{"/a b", "/a  b c", "/ HTT x", "/\x05x", "/a b\x05", "/x HTT", "/"};
const std::vector<std::string_view> versions{"1.0", "1.1", "9.9", "x", "1.0\xFF"};
const std::vector<std::string_view> names{"Host",
                                          "Content-Length",
                                          "Encapsulated",
                                          "ISTag",
                                          "X",
                                          "istag",
                                          "Preview ",
                                          "A\x7F",
                                          "Na\xE4"
                                          "me",
                                          "Foo bar"};
const std::vector<std::string_view> values{
    "",           "x",   "a b  ",     "null-body=0", "1,2\r\n  folded", "\t tab", "a\r\n\tb\r\n c",
    "text/plain", "a:b", "\x01\x02z", "\xFF\x80",    "\0nul"sv,         "  lead", "a\n b"};
const std::vector<std::string_view> reasons{"OK", "", "No Content", "\xE4", "200 digits", "blank  "};
const std::vector<std::string_view> statuses{"200", "204", "100", "000", "999", "404"};
const std::vector<std::string_view> pieces_of_grammar{
    "GET",  " ",    "\t",   "/",    "HTTP", "ICAP", "HTTP/1.1", "ICAP/1.0",  "\r\n", "\n",     "\r",      ":",  "a",
    "A: b", "200",  "20",   "2000", "0",    "00",   "FFFFFFFF", "100000000", "aB",   ";",      "x=y",     "\"", "\\",
    "\x05", "\x7F", "\x80", "\xFF", "\0"sv, "://",  "?",        "#",         "x",    "REQMOD", "OPTIONS", "=",  "-"};

} // namespace

std::string text_generator::eol()
{
    static const std::vector<std::string_view> ends{"\r\n", "\r\n", "\r\n", "\n", "\r\r\n", " \r\n", "  \n"};
    return std::string(pick(ends));
}

std::string text_generator::gap()
{
    static const std::vector<std::string_view> gaps{" ", " ", " ", "  ", "\t", " \t "};
    return std::string(pick(gaps));
}

std::string text_generator::header_line()
{
    static const std::vector<std::string_view> colons{":", ": ", ":  ", ":\t"};
    return std::string(pick(names)) + std::string(pick(colons)) + std::string(pick(values)) + eol();
}

std::string text_generator::headers()
{
    std::string text;
    for (std::size_t count = below(5); count != 0; --count) {
        text += header_line();
    }
    if (chance(20)) {
        text += "no colon" + eol() + header_line();
    }
    return text + eol();
}

std::string text_generator::head()
{
    std::string line;
    switch (below(5)) {
    case 0:
        line = std::string(pick(icap_methods)) + gap() + std::string(pick(targets)) + gap() + "ICAP/";
        return line + std::string(pick(versions)) + eol() + headers();
    case 1:
        line =
            std::string(pick(http_methods)) + gap() + std::string(pick(chance(2) ? spaced_targets : targets)) + gap();
        return line + "HTTP/" + std::string(pick(versions)) + eol() + headers();
    case 2:
        line = std::string(pick(other_methods)) + gap() + std::string(pick(targets)) + gap() + "HTTP/";
        return line + std::string(pick(versions)) + eol() + headers();
    default:
        line = std::string(chance(2) ? "ICAP/" : "HTTP/") + std::string(pick(versions)) + gap();
        line += std::string(pick(statuses)) + (chance(8) ? "" : gap()) + std::string(pick(reasons));
        return line + eol() + headers();
    }
}

std::string text_generator::chunk()
{
    static const std::vector<std::string_view> sizes{
        "0", "00", "1", "a", "0A", "ff", "1000", "FFFFFFFF", "ffffffff", "100000000", "00000001", "000000000"};
    static const std::vector<std::string_view> extensions{"",
                                                          "; ieof",
                                                          ";x",
                                                          ";a=b",
                                                          ";a=\"q\"",
                                                          ";a=\"q\\\"\xE4\"",
                                                          ";a=\"q\r\n fold\"",
                                                          ";a=\"no",
                                                          ";",
                                                          ";=x",
                                                          ";a=",
                                                          ";a;b=c",
                                                          ";a=\"x\";b",
                                                          ";a=\"\\\x80\"",
                                                          ";a=\"\t\"",
                                                          " ;x",
                                                          "; a=\"x\r\n y\" z",
                                                          ";a=\"x\"\xE4"};
    std::string text(pick(sizes));
    if (chance(4)) {
        text += gap();
    }
    text += std::string(pick(extensions)) + eol();
    if (chance(2)) {
        text += eol();
    }
    if (chance(3)) {
        text += headers();
    }
    return text;
}

std::string text_generator::uri()
{
    static const std::vector<std::string_view> parts{"http",         "icap",      "://", ":", "/",   "host",
                                                     "host.name:80", "/a/b",      "?",   "q", "#",   "f",
                                                     "x.y",          "user@host", "%20", "1", "\xE4"};
    std::string text;
    for (std::size_t count = 1 + below(8); count != 0; --count) {
        text += pick(parts);
    }
    return text;
}

std::string text_generator::mutated(std::string text)
{
    for (std::size_t count = 1 + below(4); count != 0; --count) {
        const std::size_t place = below(text.size() + 1);
        switch (below(5)) {
        case 0:
            text.insert(place, pick(pieces_of_grammar));
            break;
        case 1:
            text.erase(place, 1 + below(3));
            break;
        case 2:
            if (place < text.size()) {
                text[place] = static_cast<char>(below(256));
            }
            break;
        case 3:
            text.insert(place, text.substr(place, 1 + below(6)));
            break;
        default:
            if (place + 1 < text.size()) {
                std::swap(text[place], text[place + 1]);
            }
            break;
        }
    }
    return text;
}

std::string text_generator::noise(std::size_t length)
{
    std::string text(length, '\0');
    for (char& byte : text) {
        byte = static_cast<char>(below(256));
    }
    return text;
}

std::string text_generator::word_salad(std::size_t pieces)
{
    std::string text;
    for (; pieces != 0; --pieces) {
        text += pick(pieces_of_grammar);
    }
    return text;
}

} // namespace test
