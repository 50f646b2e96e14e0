#pragma once

#include <functional>
#include <string_view>

namespace host {

/// Receives a document piece by piece.
using document_sink = std::function<void(std::string_view piece)>;

} // namespace host
