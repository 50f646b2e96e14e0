#pragma once

#include "store/message_record.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <set>
#include <string>

namespace test {

/// What a scanner that knows the antivirus test file objects to in a message: looked for in the contents themselves.
struct objections
{
    bool body = false;
    std::set<std::uint32_t> attachments; ///< numbers
    [[nodiscard]] bool any() const { return body || !attachments.empty(); }
};

/// Looks at what a check looks at: the body that is shown, and the first hundred attachments that are not too large.
objections find_objections(const host::message_record& message);

/// Compares "before" and "after" of an opening, property by property, with what disinfection promises for a plain
/// message. `message` is the message before; `threat` is what the scanner calls the test file. Failures are those of
/// the running test.
void expect_disinfected(const nlohmann::json& before, const nlohmann::json& after, const host::message_record& message,
                        const std::string& threat);

} // namespace test
