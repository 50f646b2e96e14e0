#pragma once

#include "bench/sink_peer.h"
#include "tool/icap_client/session_manager.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace bench {

/// Mail scans of bodies of one size over a pool of sessions, with a peer of their own. Thread-safe.
class pooled_scans
{
public:
    explicit pooled_scans(std::uint64_t body_size);
    pooled_scans(const pooled_scans&) = delete;
    pooled_scans& operator=(const pooled_scans&) = delete;
    ~pooled_scans();

    /// Returns the bytes that one scan sends.
    [[nodiscard]] std::uint64_t bytes_on_wire() const noexcept { return bytes_on_wire_; }

    /// Scans the body `count` times, each time on a leased session.
    void scan(std::uint64_t count);
    /// Throws if the peer has not received every body. A scan that fails counts as clean, so that only the peer knows
    /// what was scanned.
    void check() const;

private:
    icap::client::scan_mail record_;
    std::uint64_t size_;
    sink_peer peer_;
    std::shared_ptr<icap::client::session_manager> pool_;
    std::atomic<std::uint64_t> done_{0};
    std::uint64_t bytes_on_wire_ = 0;
};

} // namespace bench
