#pragma once

#include <cstdint>
#include <memory>
#include <vector>

/// The source of the product's settings. Visits may begin on any thread and concurrently.
class SettingsBroker
{
public:
    using Bytes = std::vector<std::uint8_t>;

    /// One load of the settings. Must be used on the thread that began it. Holds its platform resources until it is
    /// destroyed.
    class Visit
    {
    public:
        /// Connects to the broker. Throws ComError or another std::exception.
        virtual void Connect() = 0;
        /// Returns the serialised record; empty if the broker returns another type. Throws the same exceptions as
        /// Connect.
        [[nodiscard]] virtual Bytes Load() = 0;
        virtual ~Visit() = default;
    };

    [[nodiscard]] virtual std::unique_ptr<Visit> Begin() = 0;
    virtual ~SettingsBroker() = default;
};
