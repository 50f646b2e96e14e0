#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace winapi {

/// Reads values below HKEY_LOCAL_MACHINE. Keys are backslash paths such as "SOFTWARE\Maker\Product"; keys and names
/// are compared without regard to case. All operations may be called from any thread.
class registry
{
public:
    /// True if the key is there and may be read (KEY_READ).
    [[nodiscard]] virtual bool has_key(std::wstring_view key) const = 0;
    /// The text of a string value, nothing if the key or the value is absent. A value of another type raises
    /// error::win32exception with code 13.
    [[nodiscard]] virtual std::optional<std::wstring> string_value(std::wstring_view key,
                                                                   std::wstring_view name) const = 0;
    /// The number in a value of at most 4 bytes, nothing if the key or the value is absent. A longer value raises
    /// error::win32exception with code 234.
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

    /// Each of these makes the key if it is not there, and puts the value in the place of an older one.
    void make_key(std::wstring_view key);
    void set_string(std::wstring_view key, std::wstring_view name, std::wstring_view text);
    void set_number(std::wstring_view key, std::wstring_view name, std::uint32_t number);
    void set_bytes(std::wstring_view key, std::wstring_view name, const std::vector<unsigned char>& bytes);
    void remove_value(std::wstring_view key, std::wstring_view name);
    /// Forgets all keys.
    void clear();

private:
    struct value
    {
        std::vector<unsigned char> bytes;
        std::optional<std::wstring> text; // a string value; its length is told in 16-bit units, end included
    };
    using values = std::map<std::wstring, value>;

    void set(std::wstring_view key, std::wstring_view name, value new_value);
    [[nodiscard]] std::optional<value> find(std::wstring_view key, std::wstring_view name) const;

    mutable std::mutex lock_;
    std::map<std::wstring, values> keys_;
};

/// The machine's registry: the real one on Windows, stand_in_registry() elsewhere, or what a registry_override
/// has put in its place.
[[nodiscard]] const registry& local_machine();

/// The process-wide registry in memory that stands in where the system has none. It starts empty.
[[nodiscard]] memory_registry& stand_in_registry();

/// While it lives, local_machine() answers from another registry, on every system. Overrides are nested, not mixed
/// between threads.
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
inline constexpr std::wstring_view dump_key = L"SOFTWARE\\MorvelaneLab\\ZORTHAN\\6.0\\Trace";
inline constexpr std::wstring_view dump_http_traffic_path = L"DumpHttpTrafficPath";
} // namespace registry_names

namespace detail {
/// What local_machine() answers from when nothing overrides it.
const registry& platform_registry();
} // namespace detail

} // namespace winapi
