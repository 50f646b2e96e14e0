#pragma once

#include "store/message_record.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <set>
#include <string>

namespace test {

/// The parts of a message that a scanner for the antivirus test file objects to, determined from the contents.
struct objections
{
    bool body = false;
    std::set<std::uint32_t> attachments; ///< numbers
    [[nodiscard]] bool any() const { return body || !attachments.empty(); }
};

/// Examines the same parts as a check: the displayed body, and the first hundred attachments that are not too large.
objections find_objections(const host::message_record& message);

/// Compares "before" and "after" of an opening, property by property, with the documented disinfection of a plain
/// message. `message` is the message before; `threat` is the scanner's name of the test file. Mismatches are failures
/// of the running test.
void expect_disinfected(const nlohmann::json& before, const nlohmann::json& after, const host::message_record& message,
                        const std::string& threat);

} // namespace test
