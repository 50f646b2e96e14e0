#include "service/judgement.h"

#include "service/cached_scan.h"
#include "service/log.h"
#include "service/safe_text.h"

#include <exception>
#include <utility>
#include <variant>

namespace service {

namespace {

/// Returns the threat that an engine found; empty if none.
std::string threat_in(const verdict& outcome)
{
    if (const auto* found = std::get_if<blocked_verdict>(&outcome)) {
        return found->threat;
    }
    const auto* repaired = std::get_if<repaired_verdict>(&outcome);
    return repaired != nullptr ? repaired->threat : std::string();
}

void log_ignored(const void* owner, const std::string& name, const std::string& threat)
{
    LOG_LINE(service_log(), 300,
             "connection(" << owner << ") ignored '" << display_text(name) << "': " << display_text(threat));
}

} // namespace

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
        reply = reply_to_failure();
    }
    done(std::move(reply), std::move(object));
}

reply_maker::reply judgement::make_reply(request_reader& object)
{
    if (const auto why = settings_->lists.forbid(listed_object_of(object))) {
        result_ = request_result::blocked;
        log_withheld(owner_, name_, *why);
        return settings_->replies.withheld(settings_->tag(), *why, name_);
    }
    const auto begun = clock::now();
    const std::string tag = settings_->tag(); // of before the scan: a later one would vouch for an older verdict
    services_.metrics.waiting.observe(begun - begun_);
    verdict outcome = judge(object);
    services_.metrics.scanning.observe(clock::now() - begun);
    if (stop_.stop_requested()) {
        return settings_->replies.bare(tag, server_error); // nobody waits for it
    }
    if (const std::string threat = threat_in(outcome); !threat.empty() && settings_->lists.ignores(threat)) {
        log_ignored(owner_, name_, threat);
        outcome = clean_verdict{};
    }
    result_ = result_of(outcome);
    log_verdict(owner_, name_, outcome);
    if (const auto why = settings_->options.policy.withhold(outcome)) {
        log_withheld(owner_, name_, *why);
        return settings_->replies.withheld(tag, *why, name_);
    }
    return settings_->replies.judged(tag, object, std::move(outcome), name_);
}

verdict judgement::judge(request_reader& object)
{
    http::message& message = object.object();
    if (object.scan() != nullptr) {
        return object.scan()->finish(message.body());
    }
    engine_in_use& used = *settings_->engine;
    return cached_scan(used.cache, used.tag, *used.engine, {name_, message.body_size()}, message.body(),
                       stop_.get_token());
}

reply_maker::reply judgement::reply_to_failure()
{
    const auto why = settings_->options.policy.withhold(error_verdict{});
    if (!why || stop_.stop_requested()) {
        return {};
    }
    try {
        auto reply = settings_->replies.withheld(settings_->tag(), *why, name_);
        log_withheld(owner_, name_, *why);
        return reply;
    } catch (const std::exception&) {
        return {};
    }
}

request_result result_of(const verdict& outcome)
{
    struct visitor
    {
        request_result operator()(const clean_verdict&) const { return request_result::clean; }
        request_result operator()(const blocked_verdict&) const { return request_result::blocked; }
        request_result operator()(const repaired_verdict&) const { return request_result::repaired; }
        request_result operator()(const unchecked_verdict&) const { return request_result::unchecked; }
        request_result operator()(const error_verdict&) const { return request_result::error; }
    };
    return std::visit(visitor{}, outcome);
}

void log_verdict(const void* owner, const std::string& name, const verdict& outcome)
{
    if (const auto* failure = std::get_if<error_verdict>(&outcome)) {
        // Names are not for the log that is written by default.
        LOG_LINE(service_log(), 200,
                 "connection(" << owner << ") could not judge an object: " << display_text(failure->why));
        LOG_LINE(service_log(), 300, "connection(" << owner << ") could not judge '" << display_text(name) << "'");
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

void log_withheld(const void* owner, const std::string& name, cause why)
{
    LOG_LINE(service_log(), 300,
             "connection(" << owner << ") withheld '" << display_text(name) << "': " << threat_of(why));
}

} // namespace service
