#pragma once

#include "service/engine/scan_engine.h"

#include <memory>
#include <string>
#include <vector>

namespace service {

/// Makes the engine specified by several texts, each of which contains one or more texts as make_engine() reads them,
/// separated by commas. Those of one text are alternatives (alternative_engines); each text judges every object
/// (engine_group). Throws std::invalid_argument with a text that describes the error.
[[nodiscard]] std::shared_ptr<scan_engine> make_engines(const std::vector<std::string>& texts,
                                                        const engine_settings& settings = {});

} // namespace service
