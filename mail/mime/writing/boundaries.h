#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Gives the multiparts of one document their boundaries: each is like no other, and like nothing that a part contains,
/// since contents are encoded, and neither encoding lets "=_" through.
class boundaries
{
public:
    std::string next() { return "=_part_" + std::to_string(++given_) + "_"; }

private:
    std::uint32_t given_ = 0;
};

} // namespace host
