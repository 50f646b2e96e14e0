#pragma once

#include "service/engine/engine_members.h"
#include "service/engine/scan_engine.h"

#include <string>
#include <string_view>

namespace service {

/// Engines that all judge each object, one after the other, each in a pass of its own. The first one that condemns the
/// object decides. If none does, the object is not judged if one of them fails, and otherwise unchecked if one of them
/// cannot look into it.
///
/// A repaired object is judged by the engines that have not seen it. Unless all of them clear it, the original object
/// is blocked with the name of the threat that was removed.
class engine_group final : public scan_engine
{
public:
    /// `engines` must not be empty.
    explicit engine_group(engine_list engines);

    [[nodiscard]] std::string_view name() const noexcept override { return "engines"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    [[nodiscard]] std::string identity(stop_token stop) override;
    /// A fault means that at least one of the engines cannot judge.
    [[nodiscard]] engine_state probe(stop_token stop) override;

private:
    verdict judge(const object_info& info, web::io_data& object, const stop_token& stop);
    verdict judge_repaired(const object_info& info, repaired_verdict found, std::size_t next, const stop_token& stop);

    engine_list engines_;
};

} // namespace service
