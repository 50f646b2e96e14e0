#include "tool/system/registry.h"

#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

#include <algorithm>
#include <atomic>
#include <memory>

namespace winapi {

namespace {

constexpr const char* source_path = "tool\\system\\registry";

std::atomic<const registry*> overriding{nullptr};

std::wstring folded(std::wstring_view text)
{
    std::wstring lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](wchar_t letter) {
        return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter + (L'a' - L'A')) : letter;
    });
    return lower;
}

/// Returns the bytes of a string value in a registry: 16-bit units, including the closing zero.
std::vector<unsigned char> string_bytes(std::wstring_view text)
{
    std::vector<unsigned char> bytes;
    for (const wchar_t letter : text) {
        bytes.push_back(static_cast<unsigned char>(letter));
        bytes.push_back(static_cast<unsigned char>(static_cast<std::uint32_t>(letter) >> 8U));
    }
    bytes.insert(bytes.end(), 2, 0);
    return bytes;
}

} // namespace

bool memory_registry::has_key(std::wstring_view key) const
{
    const std::lock_guard guard(lock_);
    return keys_.contains(folded(key));
}

std::optional<std::wstring> memory_registry::string_value(std::wstring_view key, std::wstring_view name) const
{
    const auto found = find(key, name);
    if (!found) {
        return std::nullopt;
    }
    if (!found->text) {
        throw error::win32exception(code::invalid_data, source_path, __LINE__);
    }
    return found->text;
}

std::optional<std::uint32_t> memory_registry::number_value(std::wstring_view key, std::wstring_view name) const
{
    const auto found = find(key, name);
    if (!found) {
        return std::nullopt;
    }
    if (found->bytes.size() > sizeof(std::uint32_t)) {
        throw error::win32exception(code::more_data, source_path, __LINE__);
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < found->bytes.size(); ++i) {
        number |= static_cast<std::uint32_t>(found->bytes[i]) << (8U * i);
    }
    return number;
}

void memory_registry::make_key(std::wstring_view key)
{
    const std::lock_guard guard(lock_);
    keys_[folded(key)];
}

void memory_registry::set_string(std::wstring_view key, std::wstring_view name, std::wstring_view text)
{
    set(key, name, value{string_bytes(text), std::wstring(text)});
}

void memory_registry::set_number(std::wstring_view key, std::wstring_view name, std::uint32_t number)
{
    value made;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        made.bytes.push_back(static_cast<unsigned char>(number >> shift));
    }
    set(key, name, std::move(made));
}

void memory_registry::set_bytes(std::wstring_view key, std::wstring_view name, const std::vector<unsigned char>& bytes)
{
    set(key, name, value{bytes, std::nullopt});
}

void memory_registry::remove_value(std::wstring_view key, std::wstring_view name)
{
    const std::lock_guard guard(lock_);
    const auto found = keys_.find(folded(key));
    if (found != keys_.end()) {
        found->second.erase(folded(name));
    }
}

void memory_registry::clear()
{
    const std::lock_guard guard(lock_);
    keys_.clear();
}

void memory_registry::set(std::wstring_view key, std::wstring_view name, value new_value)
{
    const std::lock_guard guard(lock_);
    keys_[folded(key)][folded(name)] = std::move(new_value);
}

std::optional<memory_registry::value> memory_registry::find(std::wstring_view key, std::wstring_view name) const
{
    const std::lock_guard guard(lock_);
    const auto found = keys_.find(folded(key));
    if (found == keys_.end()) {
        return std::nullopt;
    }
    const auto value_found = found->second.find(folded(name));
    if (value_found == found->second.end()) {
        return std::nullopt;
    }
    return value_found->second;
}

const registry& local_machine()
{
    const registry* const other = overriding.load(std::memory_order_acquire);
    return other != nullptr ? *other : detail::platform_registry();
}

memory_registry& stand_in_registry()
{
    // Never destroyed, because it may be read while the process ends.
    static auto& stand_in = *std::make_unique<memory_registry>().release();
    return stand_in;
}

registry_override::registry_override(const registry& other) noexcept
    : before_(overriding.exchange(&other))
{}

registry_override::~registry_override()
{
    overriding.store(before_, std::memory_order_release);
}

} // namespace winapi
