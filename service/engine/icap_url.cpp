#include "service/engine/icap_url.h"

#include <boost/asio/ip/address.hpp>

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace service {

namespace {

constexpr std::size_t longest_host = 253;
constexpr std::size_t longest_service = 1024;

bool is_unreserved(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_';
}

std::string checked_host(std::string_view host, bool in_brackets)
{
    if (in_brackets) {
        boost::system::error_code error;
        boost::asio::ip::make_address_v6(std::string(host), error);
        if (error) {
            throw std::invalid_argument("'[" + std::string(host) + "]' is not an address");
        }
    } else if (host.empty() || host.size() > longest_host || !std::all_of(host.begin(), host.end(), is_unreserved)) {
        throw std::invalid_argument("'" + std::string(host) + "' is not a host");
    }
    return std::string(host);
}

std::string checked_service(std::string_view service)
{
    const auto fits = [](char byte) { return byte > ' ' && byte <= '~' && byte != '#'; };
    if (service.empty()) {
        throw std::invalid_argument("the name of the service is missing");
    }
    if (service.size() > longest_service || !std::all_of(service.begin(), service.end(), fits)) {
        throw std::invalid_argument("'" + std::string(service) + "' is not the name of a service");
    }
    return std::string(service);
}

} // namespace

std::string icap_url::authority() const
{
    const bool needs_brackets = host.find(':') != std::string::npos;
    return (needs_brackets ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

icap_url read_icap_url(std::string_view text)
{
    constexpr std::string_view scheme = "icap://";
    if (!text.starts_with(scheme)) {
        throw std::invalid_argument("'" + std::string(text) + "' does not begin with icap://");
    }
    text.remove_prefix(scheme.size());
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        throw std::invalid_argument("the name of the service is missing");
    }
    icap_url url;
    url.service = checked_service(text.substr(slash + 1));
    std::string_view place = text.substr(0, slash);
    const bool in_brackets = place.starts_with('[');
    const std::size_t host_end = in_brackets ? place.find(']') : place.find(':');
    if (in_brackets && host_end == std::string_view::npos) {
        throw std::invalid_argument("'" + std::string(place) + "' has no closing bracket");
    }
    url.host = checked_host(in_brackets ? place.substr(1, host_end - 1) : place.substr(0, host_end), in_brackets);
    place.remove_prefix(std::min(place.size(), host_end + (in_brackets ? 1 : 0)));
    if (place.empty()) {
        return url;
    }
    if (!place.starts_with(':')) {
        throw std::invalid_argument("'" + std::string(place) + "' is not a port");
    }
    url.port = read_port(place.substr(1));
    if (url.port == 0) {
        throw std::invalid_argument("port 0 is none to connect to");
    }
    return url;
}

std::string percent_encoded(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string made;
    for (const char byte : text) {
        if (is_unreserved(byte)) {
            made += byte;
        } else {
            const auto value = static_cast<unsigned char>(byte);
            made += {'%', digits[value >> 4U], digits[value & 0xFU]};
        }
    }
    return made;
}

std::uint16_t read_port(std::string_view text)
{
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
        throw std::invalid_argument("'" + std::string(text) + "' is not a port");
    }
    return port;
}

} // namespace service
