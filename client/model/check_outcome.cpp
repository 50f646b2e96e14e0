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

/// What the link writes when the service cannot be reached; the reason follows it at once.
bool is_refusal(std::string_view text)
{
    return text == "No ICAP server available" || text.starts_with("Scan server is unavailable");
}

} // namespace

void check_outcome::hear(const trace_line& line)
{
    answers_.hear(line.logger, line.text);
    if (line.logger != "outlook") {
        return;
    }
    std::int32_t verdict = 0;
    std::uint32_t failure = 0;
    const std::lock_guard guard(lock_);
    refused_ = refused_ || is_refusal(line.text);
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

bool check_outcome::refused() const
{
    const std::lock_guard guard(lock_);
    return refused_;
}

} // namespace host
