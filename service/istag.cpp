#include "service/istag.h"

#include "tool/system/conversions.h"

#include <cstdint>
#include <exception>
#include <utility>

namespace service {

namespace {

/// FNV-1a. Keeps the tag short for any identity text of the engine.
std::uint64_t hash(std::string_view text)
{
    std::uint64_t value = 0xCBF29CE484222325U;
    for (const char byte : text) {
        value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
    }
    return value;
}

} // namespace

istag::istag(std::shared_ptr<scan_engine> engine, stop_token stop, counter* changes)
    : engine_(std::move(engine))
    , stop_(std::move(stop))
    , changes_(changes)
    , text_(tag_of({}))
{}

std::string istag::tag_of(std::string_view identity) const
{
    std::string made = "\"";
    return made.append(engine_->name()).append("-").append(winapi::to_hex(hash(identity))).append("\"");
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
    std::string made = tag_of(found.identity);
    const std::lock_guard guard(lock_);
    if (changes_ != nullptr && refreshed_ && text_ != made) {
        changes_->add();
    }
    refreshed_ = true;
    text_ = made;
    if (found.identity != state_.identity || (found.fault.empty() && !state_.fault.empty())) {
        ++generation_;
    }
    state_ = std::move(found);
    return made;
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

std::string istag::current() const
{
    const std::lock_guard guard(lock_);
    return text_;
}

} // namespace service
