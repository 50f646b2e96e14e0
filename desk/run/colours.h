#pragma once

#include "desk/run/console.h"

#include <string>

namespace host {

/// Returns a text that begins with the word of a verdict in its colour if the console shows colours: green for clean,
/// red for condemned, blocked and failed, yellow for repaired. Other texts, such as "not judged", have no colour.
std::string in_its_colour(const std::string& verdict, const console& where);

} // namespace host
