#pragma once

#include "events/sink.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace broker {

/// The settings of a file, made into the blob that the add-in reads. A file that cannot be used leaves the settings in
/// force that were read last. Thread-safe.
class kept_settings
{
public:
    /// Returns the contents of the file and its path. May throw unusable_file.
    struct contents
    {
        std::wstring path;
        std::string text;
    };
    using reader = std::function<contents()>;

    /// `events` must outlive this object.
    kept_settings(reader read, events::sink& events);

    /// Reads the file anew, and returns its settings, or those that were read last. Returns nothing if there are none.
    /// A fault is reported when it begins and when it changes, and its end too.
    [[nodiscard]] std::optional<std::vector<std::uint8_t>> current();

private:
    void complain(std::uint32_t id, const std::wstring& why);

    reader read_;
    events::sink& events_;
    std::mutex lock_; // guards what follows
    std::optional<std::vector<std::uint8_t>> last_good_;
    std::wstring complaint_; // the last one that was reported; empty while all is well
};

} // namespace broker
