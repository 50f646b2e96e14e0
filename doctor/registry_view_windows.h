#pragma once

#include "doctor/registry_view.h"

namespace doctor {

/// The registry of this machine and the current user, as 64-bit programs see it.
class system_registry final : public registry_view
{
public:
    [[nodiscard]] bool has_key(hive root, const std::string& path) override;
    [[nodiscard]] std::vector<std::string> subkeys(hive root, const std::string& path) override;
    [[nodiscard]] std::optional<std::string> text(hive root, const std::string& path, const std::string& name) override;
    [[nodiscard]] std::optional<std::uint32_t> number(hive root, const std::string& path,
                                                      const std::string& name) override;
    [[nodiscard]] std::vector<registry_value> values(hive root, const std::string& path) override;
};

} // namespace doctor
