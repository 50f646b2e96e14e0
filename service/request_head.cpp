#include "service/request_head.h"

#include "service/bad_request.h"
#include "tool/http/grammar.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/encapsulated.h"
#include "tool/icap/reply_readers.h"
#include "tool/icap/white_space.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <iterator>

namespace service {

namespace {

constexpr std::string_view encapsulated_name = "Encapsulated";
constexpr std::string_view framing = "Transfer-Encoding: chunked\r\n";
constexpr std::string_view plain_get = "GET / HTTP/1.1\r\n\r\n";
constexpr std::string_view plain_post = "POST / HTTP/1.1\r\n\r\n";
constexpr std::string_view plain_response = "HTTP/1.1 200 OK\r\n\r\n";

std::string_view trimmed(std::string_view text)
{
    return winapi::trimmed(text, icap::white_space);
}

/// Returns the value in one line.
std::string plain_value(std::string_view value)
{
    std::string plain(trimmed(value));
    std::replace_if(
        plain.begin(), plain.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return plain;
}

/// Returns the value of a header, whose name in the table may have blanks behind it.
std::optional<std::string_view> value_of(const http::fields& table, std::string_view name)
{
    const auto found = std::find_if(table.begin(), table.end(), [name](const auto& entry) {
        return winapi::same_no_case(trimmed(entry.first), name);
    });
    return found == table.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

icap::request_method method_of(std::string_view word)
{
    return word == "OPTIONS"  ? icap::request_method::options
           : word == "REQMOD" ? icap::request_method::reqmod
                              : icap::request_method::respmod;
}

/// Returns the path between the authority and the query.
std::string path_of_uri(std::string_view uri)
{
    if (const std::size_t mark = uri.find("://"); mark != std::string_view::npos && mark < uri.find_first_of("/?#")) {
        uri.remove_prefix(mark + 3);
        uri.remove_prefix(std::min(uri.find_first_of("/?#"), uri.size()));
    }
    return std::string(uri.substr(0, uri.find_first_of("?#")));
}

bool lists_204(std::string_view allow)
{
    while (!allow.empty()) {
        if (winapi::take_part(allow, ',', icap::white_space) == "204") {
            return true;
        }
    }
    return false;
}

icap::encapsulated_offsets offsets_of(std::string_view value)
{
    std::string plain;
    for (const char c : value) {
        if (!icap::is_white_space(c)) {
            plain += winapi::ascii_lower(c);
        }
    }
    const auto list = icap::read_encapsulated(plain);
    if (!list) {
        throw bad_request("Wrong format of Encapsulated tag ");
    }
    return list->offsets;
}

/// Returns the size of the part between two offsets.
std::size_t distance(std::uint32_t from, std::uint32_t to)
{
    if (to <= from || to - from > longest_head) {
        throw bad_request("the offsets of Encapsulated can't be");
    }
    return to - from;
}

/// Finds the sizes of the parts.
void lay_out(request_head& head, const icap::encapsulated_offsets& offsets)
{
    if (offsets.opt_body != 0) {
        throw bad_request("a body of OPTIONS is not served");
    }
    const bool respmod = head.method == icap::request_method::respmod;
    head.has_body = respmod ? offsets.res_body != 0 : offsets.req_body != 0;
    const bool foreign = respmod ? offsets.req_body != 0 : (offsets.res_hdr != 0 || offsets.res_body != 0);
    const bool nothing = !respmod && offsets.req_hdr == 0 && !head.has_body;
    if (foreign || nothing || head.has_body == (offsets.null_body != 0)) {
        throw bad_request("Encapsulated doesn't fit the method");
    }
    const std::uint32_t end = !head.has_body ? offsets.null_body_offset
                              : respmod      ? offsets.res_body_offset
                                             : offsets.req_body_offset;
    const std::uint32_t first = offsets.req_hdr != 0   ? offsets.req_hdr_offset
                                : offsets.res_hdr != 0 ? offsets.res_hdr_offset
                                                       : end;
    if (first != 0) {
        throw bad_request("the offsets of Encapsulated can't be");
    }
    if (offsets.req_hdr != 0) {
        head.http_request = distance(0, offsets.res_hdr != 0 ? offsets.res_hdr_offset : end);
    }
    if (offsets.res_hdr != 0) {
        head.http_response = distance(offsets.res_hdr_offset, end);
    }
}

void put_text(request_head& head, const http::request_data& record)
{
    head.text.append(record.method).append(" ").append(record.uri).append(" ICAP/").append(record.version);
    head.text.append("\r\n");
    for (const auto& [name, value] : record.fields) {
        const std::string_view plain_name = trimmed(name);
        const bool several_lines = plain_name.find('\n') != std::string_view::npos; // one of them has no colon
        if (!several_lines && !winapi::same_no_case(plain_name, encapsulated_name)) {
            head.text.append(plain_name).append(": ").append(plain_value(value)).append("\r\n");
        }
    }
}

icap::encapsulated_offsets offsets_of_parts(const request_head& head, std::size_t request, std::size_t response)
{
    icap::encapsulated_offsets offsets;
    if (head.method == icap::request_method::options) {
        return offsets;
    }
    const bool respmod = head.method == icap::request_method::respmod;
    const auto end = static_cast<std::uint32_t>(request + response);
    offsets.req_hdr = 1;
    if (respmod) {
        offsets.res_hdr = 1;
        offsets.res_hdr_offset = static_cast<std::uint32_t>(request);
    }
    if (!head.has_body) {
        offsets.null_body = 1;
        offsets.null_body_offset = end;
    } else if (respmod) {
        offsets.res_body = 1;
        offsets.res_body_offset = end;
    } else {
        offsets.req_body = 1;
        offsets.req_body_offset = end;
    }
    return offsets;
}

bool is_whole(const http::message& part, std::uint32_t type, std::size_t size)
{
    return part.type() == type && part.raw_head().size() == size;
}

} // namespace

std::optional<request_head> read_request_head(std::string_view text, std::size_t& size)
{
    http::request_data record;
    const http::parse_info parsed = http::parse_icap_request(text.data(), text.data() + text.size(), record);
    if (!parsed.hit) {
        return std::nullopt;
    }
    size = static_cast<std::size_t>(parsed.stop - text.data());
    request_head head;
    head.method = method_of(record.method);
    head.path = path_of_uri(record.uri);
    head.allows_204 = lists_204(value_of(record.fields, "Allow").value_or(""));
    if (const auto preview = value_of(record.fields, "Preview")) {
        head.preview = static_cast<std::uint64_t>(icap::leading_number(*preview));
    }
    put_text(head, record);
    if (head.method != icap::request_method::options) {
        const auto encapsulated = value_of(record.fields, encapsulated_name);
        if (!encapsulated) {
            throw bad_request("Encapsulated tag missed");
        }
        lay_out(head, offsets_of(*encapsulated));
    }
    return head;
}

bool lacks_framing(const request_head& head, std::string_view http_request)
{
    if (head.method != icap::request_method::reqmod || !head.has_body) {
        return false;
    }
    http::request_data record;
    const char* const end = http_request.data() + http_request.size();
    if (!http::parse_http_request(http_request.data(), end, record).hit) {
        record = {};
        http::parse_http_extension_request(http_request.data(), end, record);
    }
    const bool padded = head.preview.value_or(0) != 0 && (record.method == "GET" || record.method == "HEAD");
    return !padded && !value_of(record.fields, "Content-Length") && !value_of(record.fields, "Transfer-Encoding");
}

std::unique_ptr<icap::request_message> make_request(const request_head& head, std::string_view heads)
{
    const bool respmod = head.method == icap::request_method::respmod;
    std::string request(head.http_request ? heads.substr(0, *head.http_request) : respmod ? plain_get : plain_post);
    if (lacks_framing(head, request)) {
        request.insert(request.find('\n') + 1, framing);
    }
    std::string response;
    if (respmod) {
        response = head.http_response ? heads.substr(head.http_request.value_or(0)) : plain_response;
    }
    const std::string text = head.text + "\r\n";
    auto made = icap::detail::make_message(icap::type_request, text.data(), text.data() + text.size(),
                                           offsets_of_parts(head, request.size(), response.size()));
    std::unique_ptr<icap::request_message> message(static_cast<icap::request_message*>(made.release()));
    if (head.method == icap::request_method::options) {
        return message;
    }
    // Each head is passed to the message in one piece and must end at the offset that Encapsulated specifies.
    message->append(request.data(), request.data() + request.size());
    if (!message->has_request() || !is_whole(message->request(), http::type_request, request.size())) {
        throw bad_request("the encapsulated request doesn't end where Encapsulated says");
    }
    if (respmod) {
        message->append(response.data(), response.data() + response.size());
        if (!message->has_response() || !is_whole(message->response(), http::type_response, response.size())) {
            throw bad_request("the encapsulated response doesn't end where Encapsulated says");
        }
    }
    return message;
}

} // namespace service
