#include "service/body_budget.h"

#include "service/log.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::uint64_t reserved_part = 8;
constexpr std::uint64_t reserved_sizes = 256;

} // namespace

body_budget::body_budget(std::uint64_t bytes, std::size_t files, episode::clock::duration quiet)
    : bytes_(bytes)
    , files_(files)
    , refusals_(quiet)
    , failures_(quiet)
{}

body_budget::share::~share()
{
    if (budget_ != nullptr) {
        budget_->give_back(bytes_, files_);
    }
}

bool body_budget::share::take(std::uint64_t count)
{
    if (budget_ != nullptr && !budget_->take(bytes_, count)) {
        return false;
    }
    bytes_ += count;
    return true;
}

bool body_budget::share::take_file()
{
    if (budget_ != nullptr && !budget_->take_file()) {
        return false;
    }
    ++files_;
    return true;
}

/// Returns the bytes that must remain for smaller objects.
std::uint64_t body_budget::reserve_for(std::uint64_t size) const
{
    const std::uint64_t most = bytes_ / reserved_part;
    return size >= most / reserved_sizes ? most : size * reserved_sizes;
}

bool body_budget::take(std::uint64_t held, std::uint64_t count)
{
    std::uint64_t bytes = 0;
    {
        const std::lock_guard guard(lock_);
        bytes = bytes_;
        const std::uint64_t left = bytes_ - std::min(bytes_, used_);
        if (count <= left && left - count >= reserve_for(held + count)) {
            used_ += count;
            return true;
        }
    }
    if (refusals_.begins()) {
        LOG_LINE(service_log(), 200, "requests are refused: their objects exceed the budget of " << bytes << " bytes");
    }
    return false;
}

bool body_budget::take_file()
{
    {
        const std::lock_guard guard(lock_);
        if (used_files_ < files_) {
            ++used_files_;
            return true;
        }
    }
    if (refusals_.begins()) {
        LOG_LINE(service_log(), 200, "requests are refused: there are no descriptors for files of their objects");
    }
    return false;
}

void body_budget::give_back(std::uint64_t count, std::size_t files)
{
    const std::lock_guard guard(lock_);
    used_ -= count;
    used_files_ -= files;
}

void body_budget::resize(std::uint64_t bytes, std::size_t files)
{
    const std::lock_guard guard(lock_);
    bytes_ = bytes;
    files_ = files;
}

void body_budget::report_failure(std::string_view why)
{
    if (failures_.begins()) {
        LOG_LINE(service_log(), 200, "requests are refused: their objects cannot be kept: " << why);
    }
}

std::uint64_t body_budget::used() const
{
    const std::lock_guard guard(lock_);
    return used_;
}

} // namespace service
