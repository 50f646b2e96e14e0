#pragma once

#include "service/engine/engine_members.h"
#include "service/engine/scan_engine.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// Engines of which one judges an object: the first in order, or the next one if that fails. An engine that fails is
/// left alone for a second, and for twice as long after each further failure, up to a minute. Then one scan tries it,
/// while the others continue to leave it alone.
///
/// If no other engine is left, the one whose time ends first is asked nevertheless: otherwise an object at which every
/// engine fails would keep all others from being judged.
class alternative_engines final : public scan_engine
{
public:
    using time_point = std::chrono::steady_clock::time_point;
    using clock = std::function<time_point()>;

    static constexpr std::chrono::seconds first_pause{1};
    static constexpr std::chrono::seconds longest_pause{60};

    /// `engines` must not be empty.
    explicit alternative_engines(
        engine_list engines, clock now = [] { return std::chrono::steady_clock::now(); });

    [[nodiscard]] std::string_view name() const noexcept override { return "alternatives"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    [[nodiscard]] std::string identity(stop_token stop) override;
    /// A fault means that none of the engines can be reached; the remark contains the faults of those that cannot if
    /// others can. An engine with a fault is left alone as after a failed scan.
    [[nodiscard]] engine_state probe(stop_token stop) override;

private:
    struct member
    {
        std::uint32_t failures = 0; ///< since the last success
        time_point pause_end{};
        bool tried = false; ///< one scan is trying it after its pause
    };
    /// The use of one engine by one scan.
    struct turn
    {
        std::size_t index = 0;
        std::uint32_t failures = 0; ///< of the engine at the beginning
        bool is_trial = false;      ///< the only one after a pause
        bool is_last = false;       ///< no other engine is asked afterwards
    };
    enum class result
    {
        success,
        failure,
        stopped
    };

    verdict judge(const object_info& info, web::io_data& object, const stop_token& stop);
    std::optional<turn> next(const std::vector<bool>& asked);
    std::optional<turn> last_resort(const std::vector<bool>& asked);
    void finish(const turn& used, result outcome);

    engine_list engines_;
    clock now_;
    std::mutex lock_;
    std::vector<member> members_; ///< guarded by lock_; in the order of engines_
};

} // namespace service
