#pragma once

#include "service/engine/scan_engine.h"

#include <string>

namespace service {

/// Returns the standard antivirus test file. It is assembled on each call, so that no file contains it whole.
[[nodiscard]] std::string antivirus_test_text();

/// Returns a harmless text that the built-in engine repairs by replacing it with "[removed]".
[[nodiscard]] std::string repairable_test_text();

/// An engine without external dependencies. It detects two texts anywhere in an object: the standard antivirus test
/// file, which is blocked as "EICAR-Test-File", and the repairable test text, which is repaired as
/// "Repairable-Test-Pattern". An object that contains both is blocked.
class builtin_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    [[nodiscard]] bool is_quick(std::uint64_t size) const noexcept override;
    [[nodiscard]] std::string identity(stop_token stop) override;
    [[nodiscard]] bool worth_caching() const noexcept override { return false; }
};

} // namespace service
