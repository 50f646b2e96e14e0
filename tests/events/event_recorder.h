#pragma once

#include "events/sink.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// Keeps the records of events instead of reporting them.
class event_recorder final : public events::sink
{
public:
    struct record
    {
        events::severity kind;
        std::uint32_t id;
        std::vector<std::wstring> texts;
        bool operator==(const record&) const = default;
    };

    void report(events::severity kind, std::uint32_t id, std::vector<std::wstring> texts) noexcept override
    {
        const std::lock_guard<std::mutex> guard(lock_);
        records_.push_back({kind, id, std::move(texts)});
    }

    [[nodiscard]] std::vector<record> records() const
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return records_;
    }

private:
    mutable std::mutex lock_;
    std::vector<record> records_;
};

} // namespace test
