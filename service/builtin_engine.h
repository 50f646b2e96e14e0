#pragma once

#include "service/scan_engine.h"

#include <string>

namespace service {

/// The standard antivirus test file, made anew at each call so that it stands whole in no file.
[[nodiscard]] std::string antivirus_test_text();

/// A harmless text that the built-in engine repairs: it puts "[removed]" in its place.
[[nodiscard]] std::string repairable_test_text();

/// The engine that needs nothing beside it. It knows two texts, anywhere in an object: the standard antivirus test
/// file, which is blocked as "EICAR-Test-File", and the repairable test text, which is repaired as
/// "Repairable-Test-Pattern". An object with both is blocked.
class builtin_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, std::stop_token stop) override;
    [[nodiscard]] std::string identity(std::stop_token stop) override;
};

} // namespace service
