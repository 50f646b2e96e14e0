#include "client/model/check_outcome.h"

#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

namespace host {

namespace {

/// Parses the number that follows `beginning`. Returns false if the text has another form.
template <typename Number>
bool number_behind(std::string_view text, std::string_view beginning, int base, Number& number)
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
    std::int32_t verdict = 0;
    std::uint32_t failure = 0;
    const std::lock_guard guard(lock_);
    if (number_behind(line.text, "Message checked, result = ", 10, verdict)) {
        last_ = {S_OK, static_cast<ScanResult>(verdict)};
    } else if (number_behind(line.text, "Failed to check message, hr = ", 16, failure)) {
        last_ = {static_cast<HRESULT>(failure), ScanResult::None};
    }
}

check_outcome::result check_outcome::take()
{
    const std::lock_guard guard(lock_);
    return std::exchange(last_, {});
}

} // namespace host
