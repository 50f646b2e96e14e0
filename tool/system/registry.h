#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace winapi {

/// Reads values below HKEY_LOCAL_MACHINE. Keys are backslash paths such as "SOFTWARE\Maker\Product"; keys and names are
/// compared case-insensitively. Thread-safe.
class registry
{
public:
    /// Returns true if the key exists and may be read (KEY_READ).
    [[nodiscard]] virtual bool has_key(std::wstring_view key) const = 0;
    /// Returns the text of a string value, nothing if the key or the value is absent. Throws error::win32exception with
    /// code 13 for a value of another type.
    [[nodiscard]] virtual std::optional<std::wstring> string_value(std::wstring_view key,
                                                                   std::wstring_view name) const = 0;
    /// Returns the number in a value of at most 4 bytes, nothing if the key or the value is absent. Throws
    /// error::win32exception with code 234 for a longer value.
    [[nodiscard]] virtual std::optional<std::uint32_t> number_value(std::wstring_view key,
                                                                    std::wstring_view name) const = 0;
    virtual ~registry() = default;
};

/// A registry in memory.
class memory_registry final : public registry
{
public:
    [[nodiscard]] bool has_key(std::wstring_view key) const override;
    [[nodiscard]] std::optional<std::wstring> string_value(std::wstring_view key,
                                                           std::wstring_view name) const override;
    [[nodiscard]] std::optional<std::uint32_t> number_value(std::wstring_view key,
                                                            std::wstring_view name) const override;

    /// Each of these makes the key if it is absent, and replaces an existing value.
    void make_key(std::wstring_view key);
    void set_string(std::wstring_view key, std::wstring_view name, std::wstring_view text);
    void set_number(std::wstring_view key, std::wstring_view name, std::uint32_t number);
    void set_bytes(std::wstring_view key, std::wstring_view name, const std::vector<unsigned char>& bytes);
    void remove_value(std::wstring_view key, std::wstring_view name);
    /// Removes all keys.
    void clear();

private:
    struct value
    {
        std::vector<unsigned char> bytes;
        std::optional<std::wstring> text; // a string value; its length is in 16-bit units, including the end
    };
    using values = std::map<std::wstring, value>;

    void set(std::wstring_view key, std::wstring_view name, value new_value);
    [[nodiscard]] std::optional<value> find(std::wstring_view key, std::wstring_view name) const;

    mutable std::mutex lock_;
    std::map<std::wstring, values> keys_;
};

/// Returns the machine's registry: the real one on Windows, stand_in_registry() elsewhere, or the one that a
/// registry_override has installed.
[[nodiscard]] const registry& local_machine();

/// Returns the process-wide registry in memory for systems without one. It is empty at first.
[[nodiscard]] memory_registry& stand_in_registry();

/// While this object exists, local_machine() returns another registry, on every system. Overrides may be nested, but
/// not mixed between threads.
class registry_override
{
public:
    explicit registry_override(const registry& other) noexcept;
    registry_override(const registry_override&) = delete;
    registry_override& operator=(const registry_override&) = delete;
    ~registry_override();

private:
    const registry* before_;
};

/// Keys and names of the values that this system reads.
namespace registry_names {
inline constexpr std::wstring_view trace_key = L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Trace";
inline constexpr std::wstring_view trace_configuration = L"Configuration";
inline constexpr std::wstring_view environment_key = L"SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment";
inline constexpr std::wstring_view keep_verdict_in_email = L"KeepVerdictInEmail";
inline constexpr std::wstring_view hardened_scanning = L"HardenedScanning";
inline constexpr std::wstring_view rescan_on_new_signatures = L"RescanOnNewSignatures";
inline constexpr std::wstring_view dump_key = L"SOFTWARE\\MorvelaneLab\\ZORTHAN\\6.0\\Trace";
inline constexpr std::wstring_view dump_http_traffic_path = L"DumpHttpTrafficPath";
} // namespace registry_names

namespace detail {
/// Returns the registry that local_machine() returns without an override.
const registry& platform_registry();
} // namespace detail

} // namespace winapi
