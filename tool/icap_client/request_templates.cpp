#include "tool/icap_client/request_templates.h"

#include "tool/http/message.h"
#include "tool/icap_client/hardened_values.h"
#include "tool/icap_client/preview.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <boost/lexical_cast.hpp>

#include <algorithm>
#include <initializer_list>
#include <numeric>
#include <utility>

namespace icap::client {

namespace {

constexpr std::string_view options_template = "OPTIONS %URL% ICAP/1.0\r\n"
                                              "Host: %HOST%\r\n"
                                              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                              "Encapsulated: null-body=0\r\n\r\n";

constexpr std::string_view mail_template = "REQMOD %URL% ICAP/1.0\r\n"
                                           "Host: %HOST%\r\n"
                                           "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                           "Allow: 204\r\n"
                                           "X-Client-IP: %CLIENT_IP%\r\n"
                                           "X-Authenticated-User: %USER_NAME%\r\n"
                                           "X-Process-Name: %PROCESS_NAME%\r\n"
                                           "X-Process-ID: %PID%\r\n"
                                           "X-Session-ID: %SID%\r\n"
                                           "X-Mime-Type: %MIME_TYPE%\r\n"
                                           "X-Mail-Subject: %SUBJECT%\r\n"
                                           "X-Mail-Tag: %TAG%\r\n"
                                           "X-Mail-Type: %TYPE%\r\n"
                                           "X-Mail-Attach-Name: %ATTACH%\r\n"
                                           "X-Mail-Source: postwarden\r\n"
                                           "Encapsulated: req-hdr=0, req-body=%REQ_BODY%\r\n\r\n";

constexpr std::string_view health_template = "REQMOD %URL% ICAP/1.0\r\n"
                                             "Host: %HOST%\r\n"
                                             "Allow: 204\r\n"
                                             "Preview: %PREVIEW_SIZE%\r\n"
                                             "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                             "X-Client-IP: %CLIENT_IP%\r\n"
                                             "X-Authenticated-User: %USER_NAME%\r\n"
                                             "X-Health-Test: %HEALTH%\r\n"
                                             "Encapsulated: req-hdr=0, null-body=%REQ_BODY%\r\n\r\n";

constexpr std::string_view certificate_template = "REQMOD %URL% ICAP/1.0\r\n"
                                                  "Host: %HOST%\r\n"
                                                  "Allow: 204\r\n"
                                                  "Preview: %PREVIEW_SIZE%\r\n"
                                                  "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                                  "X-Client-IP: %CLIENT_IP%\r\n"
                                                  "X-Authenticated-User: %USER_NAME%\r\n"
                                                  "X-Process-Name: %PROCESS_NAME%\r\n"
                                                  "X-Process-ID: %PID%\r\n"
                                                  "X-Certificate-Name: %CERT_NAME%\r\n"
                                                  "Encapsulated: req-hdr=0, null-body=%REQ_BODY%\r\n\r\n";

constexpr std::string_view reqmod_template = "REQMOD %URL% ICAP/1.0\r\n"
                                             "Host: %HOST%\r\n"
                                             "Allow: 204\r\n"
                                             "Preview: %PREVIEW_SIZE%\r\n"
                                             "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                             "X-Client-IP: %CLIENT_IP%\r\n"
                                             "X-Authenticated-User: %USER_NAME%\r\n"
                                             "X-Process-Name: %PROCESS_NAME%\r\n"
                                             "X-Process-ID: %PID%\r\n"
                                             "X-Session-ID: %SID%\r\n"
                                             "X-Https-Connection: %HTTPS_CONN%\r\n"
                                             "Encapsulated: req-hdr=0, req-body=%REQ_BODY%\r\n\r\n";

constexpr std::string_view respmod_template = "RESPMOD %URL% ICAP/1.0\r\n"
                                              "Host: %HOST%\r\n"
                                              "Allow: 204\r\n"
                                              "Preview: %PREVIEW_SIZE%\r\n"
                                              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                              "X-Client-IP: %CLIENT_IP%\r\n"
                                              "X-Authenticated-User: %USER_NAME%\r\n"
                                              "X-Process-Name: %PROCESS_NAME%\r\n"
                                              "X-Process-ID: %PID%\r\n"
                                              "X-Session-ID: %SID%\r\n"
                                              "X-Https-Connection: %HTTPS_CONN%\r\n"
                                              "Encapsulated: req-hdr=0, res-hdr=%RES_HDR%, res-body=%RES_BODY%"
                                              "\r\n\r\n";

constexpr std::string_view object_template = "RESPMOD %URL% ICAP/1.0\r\n"
                                             "Host: %HOST%\r\n"
                                             "Allow: 204\r\n"
                                             "Preview: %PREVIEW_SIZE%\r\n"
                                             "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                             "X-Client-IP: %CLIENT_IP%\r\n"
                                             "Encapsulated: req-hdr=0, res-hdr=%RES_HDR%, res-body=%RES_BODY%\r\n\r\n";

constexpr std::string_view post_header = "POST %OBJECT_NAME% HTTP/1.1\r\nContent-Length: %LENGTH%\r\n\r\n";
constexpr std::string_view get_header = "GET %OBJECT_NAME% HTTP/1.1\r\n\r\n";
constexpr std::string_view object_header = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                                           "Content-Length: %OBJECT_SIZE%\r\n\r\n";

using filling = std::pair<std::string_view, std::string>;

/// Fills the placeholders in the order of the list.
std::string filled(std::string_view form, std::initializer_list<filling> values)
{
    std::string text;
    text.reserve(std::accumulate(values.begin(), values.end(), form.size(),
                                 [](std::size_t size, const filling& value) { return size + value.second.size(); }));
    text = form;
    for (const auto& [placeholder, value] : values) {
        fill_placeholder(text, placeholder, value);
    }
    return text;
}

/// Fills the placeholders of the form itself, and never what looks like one in a value.
std::string filled_once(std::string_view form, std::initializer_list<filling> values)
{
    std::string text;
    for (;;) {
        const std::size_t begin = form.find('%');
        const std::size_t end = begin == std::string_view::npos ? begin : form.find('%', begin + 1);
        if (end == std::string_view::npos) {
            return text.append(form);
        }
        const std::string_view placeholder = form.substr(begin, end + 1 - begin);
        const auto* const found = std::find_if(
            values.begin(), values.end(), [placeholder](const filling& value) { return value.first == placeholder; });
        text.append(form.substr(0, begin)).append(found == values.end() ? placeholder : found->second);
        form.remove_prefix(end + 1);
    }
}

template <class Unsigned>
std::string decimal(Unsigned value)
{
    return boost::lexical_cast<std::string>(value);
}

std::string length_of(std::size_t bytes)
{
    return decimal(static_cast<std::uint64_t>(bytes));
}

std::string user(const std::string& name)
{
    return winapi::base64::encode("Local://" + name);
}

std::string flag(std::uint8_t value)
{
    return value != 0 ? "1" : "0";
}

using filler = std::string (*)(std::string_view form, std::initializer_list<filling> values);

std::string mail_request(const std::string& host, const std::string& client_ip, const std::string& target,
                         const scan_mail& parameters, filler fill)
{
    const std::string header = fill(post_header, {{"%OBJECT_NAME%", "http://check_mail?tag=" + parameters.tag},
                                                  {"%LENGTH%", decimal(parameters.data->size())}});
    return fill(mail_template, {{"%URL%", target},
                                {"%HOST%", host},
                                {"%CLIENT_IP%", client_ip},
                                {"%PROCESS_NAME%", winapi::base64::encode(parameters.process_name)},
                                {"%PID%", decimal(parameters.process_id)},
                                {"%SID%", decimal(parameters.session_id)},
                                {"%USER_NAME%", user(parameters.user_name)},
                                {"%TYPE%", decimal(static_cast<std::uint32_t>(parameters.type))},
                                {"%MIME_TYPE%", parameters.mime_type},
                                {"%SUBJECT%", winapi::base64::encode(parameters.subject)},
                                {"%TAG%", parameters.tag},
                                {"%ATTACH%", winapi::base64::encode(parameters.attach_name)},
                                {"%REQ_BODY%", length_of(header.size())}}) +
           header;
}

std::string_view head_of(const http::message& message)
{
    const auto& head = message.raw_head();
    return {head.data(), head.size()};
}

} // namespace

void fill_placeholder(std::string& text, std::string_view placeholder, std::string_view value)
{
    const auto position = text.find(placeholder);
    if (position != std::string::npos) {
        text.replace(position, placeholder.size(), value);
    }
}

void append_preview_tail(std::string& request, std::string_view preview)
{
    if (!preview.empty()) {
        request += winapi::to_hex(preview.size());
        request += preview;
        request += "\r\n";
    }
    request += "0\r\n\r\n";
}

std::wstring make_target(const std::wstring& address, std::uint32_t port, const std::wstring& path)
{
    return L"icap://" + address + L":" + std::to_wstring(port) + path;
}

std::string build_options_request(const std::string& host, const std::string& target)
{
    return filled(options_template, {{"%URL%", target}, {"%HOST%", host}});
}

std::string build_mail_request(const std::string& host, const std::string& client_ip, const std::string& target,
                               const scan_mail& parameters)
{
    return parameters.hardened ? mail_request(host, client_ip, target, hardened_values(parameters), filled_once)
                               : mail_request(host, client_ip, target, parameters, filled);
}

std::string build_health_request(const std::string& host, const std::string& client_ip, const std::string& target,
                                 const scan_health& parameters, std::string_view preview)
{
    const std::string header = filled(get_header, {{"%OBJECT_NAME%", "http://health_test"}});
    return filled(health_template, {{"%URL%", target},
                                    {"%HOST%", host},
                                    {"%CLIENT_IP%", client_ip},
                                    {"%USER_NAME%", user(parameters.user_name)},
                                    {"%HEALTH%", winapi::base64::encode(parameters.health)},
                                    {"%PREVIEW_SIZE%", length_of(preview.size())},
                                    {"%REQ_BODY%", length_of(header.size())}}) +
           header;
}

std::string build_certificate_request(const std::string& host, const std::string& client_ip, const std::string& target,
                                      const scan_certificate& parameters, std::string_view preview)
{
    const std::string header =
        filled(get_header, {{"%OBJECT_NAME%", "http://check_certificate?sni=" + parameters.sni}});
    return filled(certificate_template,
                  {{"%URL%", target},
                   {"%HOST%", host},
                   {"%CLIENT_IP%", client_ip},
                   {"%USER_NAME%", user(parameters.user_name)},
                   {"%PROCESS_NAME%", winapi::base64::encode(parameters.process_name)},
                   {"%PID%", decimal(parameters.process_id)},
                   {"%CERT_NAME%", winapi::base64::encode(winapi::conv_to_char(parameters.certificate_name))},
                   {"%PREVIEW_SIZE%", length_of(preview.size())},
                   {"%REQ_BODY%", length_of(header.size())}}) +
           header;
}

std::string build_reqmod_preview(const std::string& host, const std::string& client_ip, const std::string& target,
                                 const scan_http_request& parameters, std::string_view preview)
{
    const std::string_view header = head_of(*parameters.request);
    std::string text = filled(reqmod_template, {{"%URL%", target},
                                                {"%HOST%", host},
                                                {"%CLIENT_IP%", client_ip},
                                                {"%USER_NAME%", user(parameters.user_name)},
                                                {"%PROCESS_NAME%", winapi::base64::encode(parameters.process_name)},
                                                {"%PID%", decimal(parameters.process_id)},
                                                {"%SID%", decimal(parameters.session_id)},
                                                {"%HTTPS_CONN%", flag(parameters.https)},
                                                {"%PREVIEW_SIZE%", length_of(preview.size())},
                                                {"%REQ_BODY%", length_of(header.size())}});
    text += header;
    append_preview_tail(text, preview);
    return text;
}

std::string build_respmod_preview(const std::string& host, const std::string& client_ip, const std::string& target,
                                  const scan_http_response& parameters, std::string_view preview)
{
    const std::string_view request = head_of(*parameters.request);
    const std::string_view response = head_of(*parameters.response);
    std::string text = filled(respmod_template, {{"%URL%", target},
                                                 {"%HOST%", host},
                                                 {"%CLIENT_IP%", client_ip},
                                                 {"%USER_NAME%", user(parameters.user_name)},
                                                 {"%PROCESS_NAME%", winapi::base64::encode(parameters.process_name)},
                                                 {"%PID%", decimal(parameters.process_id)},
                                                 {"%PREVIEW_SIZE%", length_of(preview.size())},
                                                 {"%SID%", decimal(parameters.session_id)},
                                                 {"%HTTPS_CONN%", flag(parameters.https)},
                                                 {"%RES_HDR%", length_of(request.size())},
                                                 {"%RES_BODY%", length_of(request.size() + response.size())}});
    text += request;
    text += response;
    append_preview_tail(text, preview);
    return text;
}

std::string build_object_preview(const std::string& host, const std::string& client_ip, const std::string& target,
                                 const std::string& object_name, std::uint32_t object_size, std::string_view preview)
{
    const std::string request = filled(get_header, {{"%OBJECT_NAME%", object_name}});
    const std::string response = filled(object_header, {{"%OBJECT_SIZE%", decimal(object_size)}});
    std::string text = filled(object_template, {{"%URL%", target},
                                                {"%HOST%", host},
                                                {"%CLIENT_IP%", client_ip},
                                                {"%PREVIEW_SIZE%", length_of(preview.size())},
                                                {"%RES_HDR%", length_of(request.size())},
                                                {"%RES_BODY%", length_of(request.size() + response.size())}});
    text += request;
    text += response;
    append_preview_tail(text, preview);
    return text;
}

} // namespace icap::client
