#pragma once

#include "tests/tool/icap_client/joined.h"

#include <cstdint>
#include <sstream>
#include <string>

/// Responses in the form in which a scanning service writes them.
namespace test::reply {

inline const std::string istag = "\"T-1\"";

inline std::string options(std::uint32_t preview, const std::string& tag = istag)
{
    return joined({"ICAP/1.0 200 OK\r\nMethods: REQMOD, RESPMOD\r\nISTag: ", tag,
                   "\r\nPreview: ", std::to_string(preview), "\r\nEncapsulated: null-body=0\r\n\r\n"});
}

/// Returns a response without a body.
inline std::string bare(int status, const std::string& reason, const std::string& tag = istag)
{
    return joined({"ICAP/1.0 ", std::to_string(status), " ", reason, "\r\nISTag: ", tag,
                   "\r\nEncapsulated: null-body=0\r\n\r\n"});
}

inline std::string no_content(const std::string& tag = istag)
{
    return bare(204, "No Content", tag);
}

inline std::string go_on(const std::string& tag = istag)
{
    return bare(100, "Continue", tag);
}

inline std::string hexadecimal(std::size_t value)
{
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

/// Returns a body in one chunk, with its end mark.
inline std::string chunked(const std::string& body)
{
    if (body.empty()) {
        return "0\r\n\r\n";
    }
    return joined({hexadecimal(body.size()), "\r\n", body, "\r\n0\r\n\r\n"});
}

/// Returns a response that contains an HTTP response with `body`. `infection` is the value of X-Infection-Found.
inline std::string with_body(int status, const std::string& infection, const std::string& body,
                             const std::string& tag = istag)
{
    const std::string head = joined({"HTTP/1.1 200 OK\r\nContent-Length: ", std::to_string(body.size()), "\r\n\r\n"});
    return joined({"ICAP/1.0 ", std::to_string(status), " OK\r\nISTag: ", tag, "\r\nX-Infection-Found: ", infection,
                   "\r\nEncapsulated: res-hdr=0, res-body=", std::to_string(head.size()), "\r\n\r\n", head,
                   chunked(body)});
}

inline std::string blocked(const std::string& threat, const std::string& body = "<html>no</html>")
{
    return with_body(200, joined({"Type=0;Resolution=2;Threat=", threat, ";"}), body);
}

inline std::string repaired(const std::string& body)
{
    return with_body(200, "Type=0;Resolution=1;Threat=Some.Name;", body);
}

} // namespace test::reply
