#pragma once

#include "tool/icap/response_message.h"
#include "tool/icap/response_notifier.h"

#include <functional>
#include <memory>

namespace icap {

/// A complete reply on its way to the application: turns it into one call on a response_notifier.
class async_response final : public application_request
{
public:
    using trace_hook = std::function<void(const response_message&)>;

    /// `trace`, when given, is called after each callback that returned.
    explicit async_response(std::shared_ptr<response_message> answer, trace_hook trace = {});

    /// Tells `notifier` what the reply means. Raises std::invalid_argument "invalid argument: notifer is null"; what
    /// the callback raises passes through.
    void process(response_notifier* notifier) override;
    /// Raises std::runtime_error "process(web::antivirus_service2*): not implemented".
    void process(web::antivirus_service2* service) override;

private:
    void dispatch_response(response_notifier& notifier);
    void dispatch_ok(response_notifier& notifier);

    std::shared_ptr<response_message> answer_;
    trace_hook trace_;
};

} // namespace icap
