#pragma once

#include "client/model/trace_listener.h"
#include "desk/run/answer_record.h"
#include "tool/icap_client/scan_result.h"
#include "tool/system/hresult.h"

#include <mutex>
#include <string_view>

namespace host {

/// The outcome of the add-in's last check. A mail client only learns whether an item may be displayed; the rest is read
/// from the add-in's trace.
class check_outcome
{
public:
    struct result
    {
        HRESULT check = E_FAIL; ///< unchanged if no check was made
        ScanResult verdict = ScanResult::None;
    };

    /// Evaluates a line of the trace. Thread-safe.
    void hear(const trace_line& line);
    /// Receives the lines too. What the trace does not contain is unknown: the names of threats below level 500.
    [[nodiscard]] answer_record& answers() noexcept { return answers_; }
    /// Returns the outcome since the last call.
    result take();
    /// A connection to the service was asked for and could not be had, once or more.
    [[nodiscard]] bool refused() const;

private:
    mutable std::mutex lock_;
    result last_;
    bool refused_ = false;
    answer_record answers_;
};

} // namespace host
