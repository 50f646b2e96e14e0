#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "service/engine/icap_engine.h"

#include <stdexcept>
#include <string>

namespace service {

namespace {

bool take_prefix(std::string_view& text, std::string_view prefix)
{
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

} // namespace

std::shared_ptr<scan_engine> make_engine(std::string_view text)
{
    std::string_view rest = text;
    if (rest == "builtin") {
        return std::make_shared<builtin_engine>();
    }
    if (take_prefix(rest, "clamd:unix:")) {
        return std::make_shared<clamd_engine>(clamd_unix_endpoint(rest));
    }
    if (take_prefix(rest, "clamd:tcp:")) {
        const std::size_t colon = rest.rfind(':');
        if (colon == std::string_view::npos) {
            throw std::invalid_argument("the port of clamd is missing");
        }
        return std::make_shared<clamd_engine>(
            clamd_tcp_endpoint(rest.substr(0, colon), read_port(rest.substr(colon + 1))));
    }
    if (rest.starts_with("icap://")) {
        return std::make_shared<icap_engine>(read_icap_url(rest));
    }
    throw std::invalid_argument("unknown engine '" + std::string(text) + "'");
}

} // namespace service
