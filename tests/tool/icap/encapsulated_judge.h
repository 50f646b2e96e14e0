#pragma once

#include "tool/icap/message.h"

#include <cstddef>
#include <string>

namespace test {

/// What the judge makes of the value of an Encapsulated header.
struct judged_list
{
    bool hit = false;
    std::size_t length = 0;
    icap::encapsulated_offsets offsets;
};

/// A second reader of the header, made of parser objects from the rules of the list. The reader under test has to give
/// the same results.
judged_list judge_encapsulated(const std::string& value);

} // namespace test
