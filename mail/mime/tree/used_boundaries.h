#pragma once

#include "store/bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host {

/// Chooses boundaries for the new multiparts of a document: "=_edited_N_" with the least N that does not occur. The
/// time is proportional to the size of the document, whatever it contains.
class used_boundaries
{
public:
    /// Adds the boundaries of this form that occur in delimiters in the bytes.
    void add(const bytes& source);
    /// Returns the next boundary that was not added, and changes `number`, that of the previous one, to its number.
    [[nodiscard]] std::string next(std::uint64_t& number);

private:
    std::vector<std::uint64_t> numbers_;
};

} // namespace host
