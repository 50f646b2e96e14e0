#pragma once

#include "service/happenings.h"

#include <mutex>
#include <string>
#include <vector>

namespace test {

/// Keeps the names of what has happened.
class recorded_happenings final : public service::happenings
{
public:
    void engine_unreachable() noexcept override { add("unreachable"); }
    void engine_reachable() noexcept override { add("reachable"); }
    void engine_part_unreachable() noexcept override { add("part unreachable"); }
    void all_engine_parts_reachable() noexcept override { add("all parts reachable"); }
    void full() noexcept override { add("full"); }

    [[nodiscard]] std::vector<std::string> names() const
    {
        const std::lock_guard guard(lock_);
        return names_;
    }

private:
    void add(const char* name)
    {
        const std::lock_guard guard(lock_);
        names_.emplace_back(name);
    }

    mutable std::mutex lock_;
    std::vector<std::string> names_;
};

} // namespace test
