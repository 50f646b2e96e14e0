#pragma once

#include "tool/icap_client/session.h"

#include <atomic>
#include <stdexcept>

namespace test {

/// A session whose state is set by hand.
class fake_session : public icap::client::session
{
public:
    ScanResult scan(const icap::client::scan_mail&, answer_ptr&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_health&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_certificate&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_http_response&, answer_ptr&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_http_request&, answer_ptr&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_object&) override { return ScanResult::Clean; }
    [[nodiscard]] bool is_invalid() override
    {
        ++validity_tests;
        if (fails) {
            throw std::runtime_error("the validity test failed");
        }
        return invalid;
    }
    [[nodiscard]] std::uint32_t idle() override { return 0; }
    void close() override { ++closes; }
    [[nodiscard]] bool is_closed() override { return --looks_until_closed <= 0; }

    std::atomic<bool> invalid{false};
    std::atomic<bool> fails{false}; ///< is_invalid() throws
    std::atomic<int> validity_tests{0};
    std::atomic<int> closes{0};
    std::atomic<int> looks_until_closed{1};
};

} // namespace test
