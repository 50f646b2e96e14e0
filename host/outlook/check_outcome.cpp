#include "host/outlook/check_outcome.h"

#include <charconv>
#include <cstdint>
#include <utility>

namespace host {

namespace {

/// The number behind `beginning`; false when the text is another one.
bool number_behind(std::string_view text, std::string_view beginning, int base, std::uint32_t& number)
{
    if (!text.starts_with(beginning)) {
        return false;
    }
    text.remove_prefix(beginning.size());
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return problem == std::errc() && end == text.data() + text.size();
}

} // namespace

void check_outcome::hear(const trace_line& line)
{
    if (line.logger != "outlook") {
        return;
    }
    std::uint32_t number = 0;
    const std::lock_guard guard(lock_);
    if (number_behind(line.text, "Message checked, result = ", 10, number)) {
        last_ = {S_OK, static_cast<ScanResult>(number)};
    } else if (number_behind(line.text, "Failed to check message, hr = ", 16, number)) {
        last_ = {static_cast<HRESULT>(number), ScanResult::None};
    }
}

check_outcome::result check_outcome::take()
{
    const std::lock_guard guard(lock_);
    return std::exchange(last_, {});
}

} // namespace host
