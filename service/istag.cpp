#include "service/istag.h"

#include "service/text_hash.h"
#include "tool/system/conversions.h"

#include <cstdint>
#include <exception>
#include <utility>

namespace service {

istag::istag(std::shared_ptr<scan_engine> engine, stop_token stop, counter* changes)
    : engine_(std::move(engine))
    , stop_(std::move(stop))
    , changes_(changes)
    , value_(text_hash({}))
{}

std::string istag::tag_of(std::uint64_t value) const
{
    std::string made = "\"";
    return made.append(engine_->name()).append("-").append(winapi::to_hex(value)).append("\"");
}

std::string istag::refresh()
{
    engine_state found;
    try {
        found = engine_->probe(stop_);
    } catch (const std::exception& failure) {
        found = {state().identity, failure.what()};
    }
    if (stop_.stop_requested()) {
        return current(); // the probe was given up, which is no state of the engine
    }
    const std::uint64_t value = text_hash(found.identity);
    const std::lock_guard guard(lock_);
    if (changes_ != nullptr && refreshed_ && value_ != value) {
        changes_->add();
    }
    refreshed_ = true;
    value_ = value;
    if (found.identity != state_.identity || (found.fault.empty() && !state_.fault.empty())) {
        ++generation_;
    }
    state_ = std::move(found);
    return tag_of(value);
}

engine_state istag::state() const
{
    const std::lock_guard guard(lock_);
    return state_;
}

std::uint64_t istag::generation() const
{
    const std::lock_guard guard(lock_);
    return state_.identity.empty() ? 0 : generation_;
}

std::string istag::current(std::uint64_t rules) const
{
    const std::lock_guard guard(lock_);
    return tag_of(value_ ^ rules);
}

} // namespace service
