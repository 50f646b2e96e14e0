#pragma once

#include "service/engine/address_lookup.h"
#include "service/engine/icap_findings.h"
#include "service/engine/icap_url.h"
#include "service/engine/kept_streams.h"
#include "service/engine/scan_engine.h"
#include "service/engine/stream_places.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Settings of an icap_engine.
struct icap_engine_settings
{
    /// Applies to each step: looking up the host, connecting, sending or receiving a piece.
    std::chrono::milliseconds timeout{25000};
    kept_streams<timed_stream>::clock clock = [] { return std::chrono::steady_clock::now(); };
    address_lookup::query query = query_addresses;
};

/// Has objects judged by an ICAP server, which may run on another machine; icap_exchange contains the meaning of its
/// answers. Connections are kept. A request on a kept connection that ends before the first byte of an answer is
/// repeated once, on a new one.
///
/// The server announces its preview in its answer to OPTIONS. A scan asks for it again once the time that the server
/// announced has passed, and after an ISTag that differs. If it announces how many connections it serves, no more are
/// open: scans use all but one of them, which is for probes, and wait for each other.
class icap_engine final : public scan_engine
{
public:
    /// The validity of an announcement without a time.
    static constexpr std::chrono::seconds usual_ttl{3600};

    explicit icap_engine(icap_url url, icap_engine_settings settings = {});

    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    /// Returns the name of the service and the ISTag of the server; the last known one while it does not answer.
    [[nodiscard]] std::string identity(stop_token stop) override;
    /// Sends OPTIONS; the timeout applies to the whole exchange. If the server serves a single connection and a scan
    /// uses it, returns the last known state instead.
    [[nodiscard]] engine_state probe(stop_token stop) override;
    /// Scans the whole object.
    [[nodiscard]] verdict judge(const object_info& info, web::io_data& object, const stop_token& stop);

private:
    using time_point = kept_streams<timed_stream>::time_point;

    std::unique_ptr<timed_stream> connected(const stop_token& stop, time_point deadline);
    icap_options ask_options(const stop_token& stop, time_point deadline);
    icap_options current_options(const stop_token& stop);
    void note_tag(const icap_head& head);
    void limit_connections(std::size_t count);

    icap_url url_;
    icap_engine_settings settings_;
    address_lookup lookup_;
    kept_streams<timed_stream> kept_;
    stream_places scans_{0};                     ///< scans at a time
    std::atomic<bool> single_connection_{false}; ///< for scans and probes together
    std::mutex lock_;
    std::optional<icap_options> options_; ///< guarded by lock_
    time_point options_end_{};            ///< guarded by lock_
    std::string tag_;                     ///< the last ISTag known; guarded by lock_
    std::string fault_;                   ///< of the last probe; guarded by lock_
};

} // namespace service
