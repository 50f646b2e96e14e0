#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Creates the boundaries of the multiparts of one document. Each is unique and does not occur in the contents of any
/// part, because contents are encoded and no encoding produces "=_".
class boundaries
{
public:
    std::string next() { return "=_part_" + std::to_string(++given_) + "_"; }

private:
    std::uint32_t given_ = 0;
};

} // namespace host
