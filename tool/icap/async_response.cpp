#include "tool/icap/async_response.h"

#include "tool/icap/reply_readers.h"

#include <stdexcept>
#include <utility>

namespace icap {

async_response::async_response(std::shared_ptr<response_message> answer, trace_hook trace)
    : answer_(std::move(answer))
    , trace_(std::move(trace))
{}

void async_response::process(response_notifier* notifier)
{
    if (notifier == nullptr) {
        throw std::invalid_argument("invalid argument: notifer is null");
    }
    dispatch_response(*notifier);
    if (trace_) {
        trace_(*answer_);
    }
}

void async_response::process(web::antivirus_service2* /*service*/)
{
    throw std::runtime_error("process(web::antivirus_service2*): not implemented");
}

void async_response::dispatch_response(response_notifier& notifier)
{
    // Only an answer to OPTIONS names methods, so the header counts more than the status.
    const std::vector<std::string> methods = get_methods(answer_);
    if (!methods.empty()) {
        notifier.options(get_istag(answer_), get_preview(answer_), methods);
        return;
    }
    switch (answer_->status()) {
    case 100:
        notifier.continue_(get_istag(answer_));
        break;
    case 200:
        dispatch_ok(notifier);
        break;
    case 201:
        notifier.repaired(get_istag(answer_), answer_);
        break;
    case 204:
        notifier.no_content(get_istag(answer_));
        break;
    default:
        notifier.error("response from server is " + std::to_string(answer_->status()));
        break;
    }
}

void async_response::dispatch_ok(response_notifier& notifier)
{
    const auto infection = answer_->headers().get("X-Infection-Found");
    if (!infection || infection->empty()) {
        notifier.no_content(get_istag(answer_));
    } else if (leading_number(get_infection_param(answer_, "Resolution")) == 1) {
        notifier.repaired(get_istag(answer_), answer_);
    } else {
        notifier.blocked(get_istag(answer_), get_infection_param(answer_, "Threat"), answer_);
    }
}

} // namespace icap
