#pragma once

#include "tool/icap/message.h"

#include <cstddef>
#include <string>

namespace test {

/// The judge's result for the value of an Encapsulated header.
struct judged_list
{
    bool hit = false;
    std::size_t length = 0;
    icap::encapsulated_offsets offsets;
};

/// A second reader of the header, made of parser objects from the rules of the list. The reader under test must return
/// the same results.
judged_list judge_encapsulated(const std::string& value);

} // namespace test
