#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace doctor {

enum class hive
{
    machine, ///< HKEY_LOCAL_MACHINE
    user     ///< HKEY_CURRENT_USER
};

/// A value of any type, with its bytes as the registry contains them.
struct registry_value
{
    std::string name;
    std::vector<std::uint8_t> bytes;
};

/// The registry, read-only. Texts are UTF-8. A key or value that cannot be read counts as absent.
class registry_view
{
public:
    [[nodiscard]] virtual bool has_key(hive root, const std::string& path) = 0;
    [[nodiscard]] virtual std::vector<std::string> subkeys(hive root, const std::string& path) = 0;
    /// The default value has an empty name. Variables of the environment in the text are replaced.
    [[nodiscard]] virtual std::optional<std::string> text(hive root, const std::string& path,
                                                          const std::string& name) = 0;
    [[nodiscard]] virtual std::optional<std::uint32_t> number(hive root, const std::string& path,
                                                              const std::string& name) = 0;
    [[nodiscard]] virtual std::vector<registry_value> values(hive root, const std::string& path) = 0;
    virtual ~registry_view() = default;
};

} // namespace doctor
