#include "service/judgement.h"

#include "service/log.h"
#include "service/safe_text.h"

#include <exception>
#include <utility>
#include <variant>

namespace service {

judgement::judgement(request object, const connection_services& services, settings_pointer settings, const void* owner,
                     handler done)
    : object_(std::move(object))
    , services_(services)
    , settings_(std::move(settings))
    , owner_(owner)
    , done_(std::move(done))
    , name_(object_name(*object_))
{}

void judgement::run()
{
    const handler done = std::exchange(done_, nullptr);
    request object = std::move(object_);
    reply_maker::reply reply;
    try {
        reply = make_reply(*object);
    } catch (const std::exception& problem) {
        LOG_LINE(service_log(), 200, "connection(" << owner_ << ") failed: " << problem.what());
    }
    done(std::move(reply), std::move(object));
}

reply_maker::reply judgement::make_reply(request_reader& object)
{
    const auto begun = clock::now();
    services_.metrics.waiting.observe(begun - begun_);
    http::message& message = object.object();
    verdict outcome = object.scan() != nullptr ? object.scan()->finish(message.body())
                                               : scan(*settings_->engine->engine, {name_, message.body_size()},
                                                      message.body(), stop_.get_token());
    services_.metrics.scanning.observe(clock::now() - begun);
    result_ = result_of(outcome);
    if (!stop_.stop_requested()) {
        log_verdict(owner_, name_, outcome);
    }
    return settings_->replies.judged(settings_->engine->tag.current(), object, std::move(outcome), name_);
}

request_result result_of(const verdict& outcome)
{
    switch (outcome.index()) {
    case 0:
        return request_result::clean;
    case 1:
        return request_result::blocked;
    case 2:
        return request_result::repaired;
    case 3:
        return request_result::unchecked;
    default:
        return request_result::error;
    }
}

void log_verdict(const void* owner, const std::string& name, const verdict& outcome)
{
    if (const auto* failure = std::get_if<error_verdict>(&outcome)) {
        LOG_LINE(service_log(), 200,
                 "connection(" << owner << ") could not judge '" << display_text(name)
                               << "': " << display_text(failure->why));
    } else if (const auto* unchecked = std::get_if<unchecked_verdict>(&outcome)) {
        LOG_LINE(service_log(), 300,
                 "connection(" << owner << ") could not check '" << display_text(name)
                               << "': " << display_text(unchecked->why));
    } else if (const auto* found = std::get_if<blocked_verdict>(&outcome)) {
        LOG_LINE(service_log(), 300,
                 "connection(" << owner << ") blocked '" << display_text(name) << "': " << display_text(found->threat));
    } else if (const auto* repaired = std::get_if<repaired_verdict>(&outcome)) {
        LOG_LINE(service_log(), 300,
                 "connection(" << owner << ") repaired '" << display_text(name)
                               << "': " << display_text(repaired->threat));
    }
}

} // namespace service
