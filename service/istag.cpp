#include "service/istag.h"

#include "tool/system/conversions.h"

#include <cstdint>
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

istag::istag(std::shared_ptr<scan_engine> engine, std::stop_token stop)
    : engine_(std::move(engine))
    , stop_(std::move(stop))
    , text_(tag_of({}))
{}

std::string istag::tag_of(std::string_view identity) const
{
    std::string made = "\"";
    return made.append(engine_->name()).append("-").append(winapi::to_hex(hash(identity))).append("\"");
}

std::string istag::refresh()
{
    std::string made = tag_of(engine_->identity(stop_));
    const std::lock_guard guard(lock_);
    text_ = made;
    return made;
}

std::string istag::current() const
{
    const std::lock_guard guard(lock_);
    return text_;
}

} // namespace service
