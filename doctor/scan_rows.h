#pragma once

#include "doctor/row.h"
#include "doctor/scanner.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace doctor {

/// The rows for which the service is asked. A row that fails because the service gives no answer keeps the later ones
/// from waiting for it again. Thread-safe, because a row that takes too long is left behind.
class scan_rows
{
public:
    /// `slow` is the time of a verdict from which on it counts as slow.
    scan_rows(std::shared_ptr<scanner> service, std::chrono::milliseconds slow);

    [[nodiscard]] finding options();
    /// A harmless text, which no engine may condemn. It differs at each run, so that an engine must judge it.
    [[nodiscard]] finding clean_object();
    /// The standard antivirus test file, which each engine must condemn.
    [[nodiscard]] finding test_object();
    /// The longest time of the verdicts that the other rows received.
    [[nodiscard]] finding verdict_time();
    /// What the ISTag shows about the engines.
    [[nodiscard]] finding engines();

private:
    [[nodiscard]] std::optional<finding> unanswered();
    [[nodiscard]] object_answer judge(const std::string& bytes);

    std::shared_ptr<scanner> scanner_;
    std::chrono::milliseconds slow_;
    std::atomic<bool> asked_{false};    ///< for the options
    std::atomic<bool> answered_{false}; ///< the options were answered
    std::mutex lock_;
    std::string istag_;                                ///< under lock_
    std::optional<std::chrono::milliseconds> longest_; ///< of the verdicts; under lock_
};

} // namespace doctor
