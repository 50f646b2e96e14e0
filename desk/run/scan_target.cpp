#include "desk/run/scan_target.h"

#include "service/scan_server.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace host {

scan_target::scan_target(std::optional<std::uint16_t> port, std::string uri)
    : uri_(std::move(uri))
    , port_(port.value_or(0))
{
    if (!uri_.empty() && uri_.front() == '/') {
        uri_.erase(0, 1);
    }
    if (port) {
        return;
    }
    try {
        service::server_options options;
        options.uri = uri_;
        options.preview = 0; // otherwise objects that are shorter than a preview could not be judged
        server_ = std::make_unique<service::scan_server>(options);
        server_->start();
        port_ = server_->port();
    } catch (const std::exception& failure) {
        throw std::runtime_error(std::string("the service inside this process cannot be started: ") + failure.what());
    }
}

scan_target::~scan_target() = default;

} // namespace host
