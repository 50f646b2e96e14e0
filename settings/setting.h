#pragma once

namespace DOVA::Settings {

/// One product setting. The effective value is `value` if `isSet`, else `default_`.
template <typename T>
struct Setting
{
    T default_{};
    T value{};
    bool isSet = false;

    [[nodiscard]] const T& Effective() const noexcept { return isSet ? value : default_; }
    bool operator==(const Setting&) const = default;
};

} // namespace DOVA::Settings
