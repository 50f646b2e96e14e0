#pragma once

#include "service/scan_engine.h"

#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>

namespace service {

/// The ISTag of a service: a quoted text that changes when the engine's verdicts may. It is made anew when a client
/// asks for the options, since the engine may have to be asked for its state. May be used from any thread.
class istag
{
public:
    istag(std::shared_ptr<scan_engine> engine, std::stop_token stop);

    /// Asks the engine; may block as long as the engine's own time-out.
    std::string refresh();
    /// The tag of the last refresh; ahead of the first one a tag of the engine's name alone. Never blocks: it goes into
    /// every answer, also into those that are made where others wait.
    [[nodiscard]] std::string current() const;

private:
    [[nodiscard]] std::string tag_of(std::string_view identity) const;

    std::shared_ptr<scan_engine> engine_;
    std::stop_token stop_;
    mutable std::mutex lock_;
    std::string text_; ///< under lock_
};

} // namespace service
