#pragma once

#include "client/model/trace_listener.h"
#include "tool/icap_client/scan_result.h"
#include "tool/system/hresult.h"

#include <mutex>
#include <string_view>

namespace host {

/// What the last check of the add-in came to. A mail client is told no more than whether an item may be displayed; the
/// add-in's trace says the rest.
class check_outcome
{
public:
    struct result
    {
        HRESULT check = E_FAIL; ///< stays when no check was made
        ScanResult verdict = ScanResult::None;
    };

    /// Takes in what a line of the trace says of it; any thread.
    void hear(const trace_line& line);
    /// The outcome since the last call.
    result take();
    /// A connection to the service was asked for and could not be had, once or more.
    [[nodiscard]] bool refused() const;

private:
    mutable std::mutex lock_;
    result last_;
    bool refused_ = false;
};

} // namespace host
