#pragma once

#include "tool/icap_client/scan_records.h"
#include "tool/icap_client/scan_result.h"

#include <cstdint>
#include <memory>

namespace icap {
class response_message;
} // namespace icap

namespace icap::client {

/// One conversation with a scanning service. One thread runs one scan at a time and is blocked until the answer has
/// been processed or the record's timeout has passed. A scan whose exchange fails returns ScanResult::Clean,
/// a hardened one ScanResult::None; is_invalid() makes the difference visible. No std::exception leaves a scan.
class session
{
public:
    using answer_ptr = std::shared_ptr<response_message>;

    virtual ScanResult scan(const scan_mail& parameters, answer_ptr& answer) = 0;
    virtual ScanResult scan(const scan_health& parameters) = 0;
    virtual ScanResult scan(const scan_certificate& parameters) = 0;
    virtual ScanResult scan(const scan_http_response& parameters, answer_ptr& answer) = 0;
    virtual ScanResult scan(const scan_http_request& parameters, answer_ptr& answer) = 0;
    virtual ScanResult scan(const scan_object& parameters) = 0;
    /// Returns true if the session must not be used again.
    [[nodiscard]] virtual bool is_invalid() = 0;
    /// Returns the milliseconds since the last scan began.
    [[nodiscard]] virtual std::uint32_t idle() = 0;
    /// Shuts the connection down.
    virtual void close() = 0;
    /// Returns true if the socket is closed and no read is outstanding.
    [[nodiscard]] virtual bool is_closed() = 0;
    virtual ~session() = default;
};

} // namespace icap::client
