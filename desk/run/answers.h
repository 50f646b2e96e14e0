#pragma once

#include "tool/icap_client/scan_result.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

/// What became of one object of a message: its body or one of its attachments.
enum class answer_state
{
    scanned,  ///< the service gave a verdict
    skipped,  ///< the check does not send such an object, or the verdict on the message was known
    no_answer ///< the object should have been judged, and there is no verdict
};

/// The answer of the service to one object.
struct object_answer
{
    answer_state state = answer_state::no_answer;
    ScanResult verdict = ScanResult::None; ///< of the service; None unless it was scanned
    std::string why;                       ///< why it was skipped or has no answer, in words; empty if it was scanned
    bool judged = false;                   ///< a verdict exists, or there are no contents
    std::string threat;                    ///< what the service found; empty if it found or named nothing
};

/// The answer to one attachment.
struct attachment_answer : object_answer
{
    std::uint32_t number = 0; ///< as in a snapshot of the message
    std::string name;         ///< UTF-8, as in a snapshot
};

/// The answers during one opening of a message. A verdict can be clean although the service did not answer; these
/// answers show the difference. For an encrypted message they refer to its decrypted contents.
struct opening_answers
{
    object_answer body;
    std::vector<attachment_answer> attachments; ///< all of the message, by number

    /// Returns the number of objects in that state.
    [[nodiscard]] std::size_t count(answer_state state) const;
    /// Returns true if no object has contents that nobody judged, for whatever reason.
    [[nodiscard]] bool judged() const;
    /// Returns true if no object lacks an answer.
    [[nodiscard]] bool complete() const { return count(answer_state::no_answer) == 0; }
};

/// Returns "scanned", "skipped" or "no answer".
[[nodiscard]] const char* text_of(answer_state state);

/// Returns how many objects were answered out of those that should have been: "all", "2 of 3", "none"; "-" if there was
/// none to be answered.
[[nodiscard]] std::string answered_text(const opening_answers& answers);

/// Returns the first object that lacks an answer, and why: "the body: connection refused". Empty if there is none.
[[nodiscard]] std::string missing_answer(const opening_answers& answers);

/// Returns the answers for a report: an object of "complete", "body" and "attachments".
[[nodiscard]] nlohmann::ordered_json to_json(const opening_answers& answers);

/// Returns the names of all threats, each once, in the order of the objects: "Eicar-Test-Signature, Other".
[[nodiscard]] std::string threats_of(const opening_answers& answers);

} // namespace host
