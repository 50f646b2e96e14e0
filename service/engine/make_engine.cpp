#include "service/engine/make_engine.h"

#include "service/engine/alternative_engines.h"
#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "service/engine/engine_group.h"
#include "service/engine/icap_engine.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace service {

namespace {

std::shared_ptr<scan_engine> make_alternatives(std::string_view text, const engine_settings& settings)
{
    engine_list engines;
    for (;;) {
        const std::size_t comma = text.find(',');
        engines.push_back(make_engine(text.substr(0, comma), settings));
        if (comma == std::string_view::npos) {
            break;
        }
        text.remove_prefix(comma + 1);
    }
    return engines.size() == 1 ? engines.front() : std::make_shared<alternative_engines>(std::move(engines));
}

bool take_prefix(std::string_view& text, std::string_view prefix)
{
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

} // namespace

std::shared_ptr<scan_engine> make_engine(std::string_view text, const engine_settings& settings)
{
    std::string_view rest = text;
    if (rest == "builtin") {
        return std::make_shared<builtin_engine>();
    }
    if (take_prefix(rest, "clamd:unix:")) {
        return std::make_shared<clamd_engine>(clamd_unix_endpoint(rest), clamd_engine::default_timeout,
                                              settings.clamd_streams);
    }
    if (take_prefix(rest, "clamd:tcp:")) {
        const std::size_t colon = rest.rfind(':');
        if (colon == std::string_view::npos) {
            throw std::invalid_argument("the port of clamd is missing");
        }
        return std::make_shared<clamd_engine>(
            clamd_tcp_endpoint(rest.substr(0, colon), read_port(rest.substr(colon + 1))), clamd_engine::default_timeout,
            settings.clamd_streams);
    }
    if (rest.starts_with("icap://")) {
        return std::make_shared<icap_engine>(read_icap_url(rest));
    }
    throw std::invalid_argument("unknown engine '" + std::string(text) + "'");
}

std::shared_ptr<scan_engine> make_engines(const std::vector<std::string>& texts, const engine_settings& settings)
{
    if (texts.empty()) {
        throw std::invalid_argument("no engine is specified");
    }
    engine_list engines;
    for (const std::string& text : texts) {
        engines.push_back(make_alternatives(text, settings));
    }
    return engines.size() == 1 ? engines.front() : std::make_shared<engine_group>(std::move(engines));
}

} // namespace service
