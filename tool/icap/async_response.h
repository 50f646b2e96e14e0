#pragma once

#include "tool/icap/response_message.h"
#include "tool/icap/response_notifier.h"

#include <functional>
#include <memory>

namespace icap {

/// A complete response that is on its way to the application. It translates the response into one call on a
/// response_notifier, by these rules, of which the first that applies counts:
/// - a Methods header: options();
/// - status 100: continue_();
/// - status 200 without X-Infection-Found, or with an empty one: no_content();
/// - status 200 with a Resolution of 1 in X-Infection-Found: repaired();
/// - status 200 with any other X-Infection-Found: blocked();
/// - status 201: repaired();
/// - status 204: no_content();
/// - any other status: error() with "response from server is STATUS".
class async_response final : public application_request
{
public:
    /// Observes a response after it was processed.
    using trace_hook = std::function<void(const response_message&)>;

    /// `answer` must not be null and is shared with the notifier. `trace`, if given, is called after each callback that
    /// returned without an exception.
    explicit async_response(std::shared_ptr<response_message> answer, trace_hook trace = {});

    /// Makes the one call on `notifier`. Throws std::invalid_argument "invalid argument: notifer is null". Exceptions
    /// of the callback pass through.
    void process(response_notifier* notifier) override;
    /// Always throws std::runtime_error "process(web::antivirus_service2*): not implemented".
    void process(web::antivirus_service2* service) override;

private:
    void dispatch_response(response_notifier& notifier);
    void dispatch_ok(response_notifier& notifier);

    std::shared_ptr<response_message> answer_;
    trace_hook trace_;
};

} // namespace icap
