#pragma once

#include <stdexcept>

namespace host {

/// A message that cannot be read; what() is the reason in human-readable form.
class unreadable_message : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace host
