#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace service {

/// Returns the HTTP response to a request, of which `head` contains everything up to its first blank line. `page`
/// returns the metrics and is called only if they are wanted. The response announces the end of the connection.
[[nodiscard]] std::string answer_metrics_request(std::string_view head, const std::function<std::string()>& page);

/// Returns the response to a request whose head is too large.
[[nodiscard]] std::string refuse_large_request();

} // namespace service
