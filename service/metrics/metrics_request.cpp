#include "service/metrics/metrics_request.h"

namespace service {

namespace {

std::string response(std::string_view status, std::string_view further_head, std::string_view body, bool with_body)
{
    std::string text = "HTTP/1.1 ";
    text.append(status).append("\r\n").append(further_head);
    text.append("Content-Length: ").append(std::to_string(body.size())).append("\r\nConnection: close\r\n\r\n");
    return with_body ? text.append(body) : text;
}

/// Takes the text up to the next blank.
std::string_view take_word(std::string_view& line)
{
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(word.size() + (word.size() < line.size() ? 1 : 0));
    return word;
}

} // namespace

std::string answer_metrics_request(std::string_view head, const std::function<std::string()>& page)
{
    std::string_view line = head.substr(0, head.find("\r\n"));
    const std::string_view method = take_word(line);
    const std::string_view target = take_word(line);
    if (line != "HTTP/1.1" && line != "HTTP/1.0") {
        return response("400 Bad Request", "", "", false);
    }
    if (target.substr(0, target.find('?')) != "/metrics") {
        return response("404 Not Found", "", "", false);
    }
    if (method != "GET" && method != "HEAD") {
        return response("405 Method Not Allowed", "Allow: GET, HEAD\r\n", "", false);
    }
    return response("200 OK", "Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n", page(), method == "GET");
}

std::string refuse_large_request()
{
    return response("431 Request Header Fields Too Large", "", "", false);
}

} // namespace service
