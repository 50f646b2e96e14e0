#pragma once

#include <cstdint>
#include <memory>
#include <vector>

/// Where the product's settings come from. Visits may begin on any thread and at the same time.
class SettingsBroker
{
public:
    using Bytes = std::vector<std::uint8_t>;

    /// One load. It stays on the thread that began it, and keeps what it took of the platform until it ends.
    class Visit
    {
    public:
        /// Reaches the broker. Raises ComError, or another std::exception.
        virtual void Connect() = 0;
        /// The serialised record; empty when the broker gives something else. Raises as Connect does.
        [[nodiscard]] virtual Bytes Load() = 0;
        virtual ~Visit() = default;
    };

    [[nodiscard]] virtual std::unique_ptr<Visit> Begin() = 0;
    virtual ~SettingsBroker() = default;
};
