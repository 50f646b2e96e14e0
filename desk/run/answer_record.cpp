#include "desk/run/answer_record.h"

#include "desk/run/problem_words.h"
#include "desk/run/snapshot.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace host {

namespace {

constexpr std::uint32_t not_found = 0x8004010FU; ///< MAPI's result for a property that is missing
constexpr std::uint32_t ole_object = 6;          ///< the attachment method whose contents are never sent
constexpr std::size_t most_attachments = 100;    ///< the check ignores further ones
constexpr const char* no_words = "the scan failed";

/// Removes `beginning` from the text. Returns false if the text begins in another way.
bool take(std::string_view& text, std::string_view beginning)
{
    if (!text.starts_with(beginning)) {
        return false;
    }
    text.remove_prefix(beginning.size());
    return true;
}

/// Returns the number that the text begins with; 0 if there is none.
template <typename Number = std::uint32_t>
Number leading(std::string_view text, int base)
{
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, base);
    return number;
}

/// Returns what follows the last occurrence of `mark`; empty if there is none.
std::string_view behind_last(std::string_view text, std::string_view mark)
{
    const std::size_t at = text.rfind(mark);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + mark.size());
}

std::string with_result(const char* words, std::uint32_t result)
{
    return std::string(words) + " (0x" + winapi::hex32(result) + ")";
}

/// Gives all objects the same state.
void set_all(opening_answers& answers, answer_state state, std::string_view why, bool judged = false)
{
    const auto set = [&](object_answer& one) {
        one.state = state;
        one.judged = judged;
        one.why = why;
    };
    set(answers.body);
    std::for_each(answers.attachments.begin(), answers.attachments.end(), set);
}

} // namespace

void answer_record::begin(const message_record& checked)
{
    const std::lock_guard guard(lock_);
    thread_ = std::this_thread::get_id();
    answers_ = {};
    for (const auto& [number, attachment] : checked.attachments) {
        attachment_answer& made = answers_.attachments.emplace_back();
        made.number = number;
        made.name = attachment_name(attachment);
    }
    current_ = {};
    attachment_ = nullptr;
    begun_ = false;
    off_.clear();
    unlisted_.clear();
    error_.clear();
}

void answer_record::hear(std::string_view logger, std::string_view text)
{
    const std::lock_guard guard(lock_);
    const bool own_thread = thread_ == std::this_thread::get_id();
    if (logger == "icapclnt") {
        hear_session(text, own_thread);
    } else if (logger == "outlook" &&
               (take(text, "Scan server is unavailable") || take(text, "Create scan session manager failed: "))) {
        unreachable_ = problem_words(text);
    } else if (logger == "outlook" && own_thread) {
        hear_check(text);
    }
}

void answer_record::exchanged(bool answered, const std::string& threat)
{
    const std::lock_guard guard(lock_);
    if (thread_ != std::this_thread::get_id()) {
        return; // a question about the service itself
    }
    if (!answered) {
        fail(no_words);
    } else if (!threat.empty()) {
        current_.threat = threat;
    }
}

/// The first failure is the reason for all later ones.
void answer_record::fail(std::string why)
{
    if (current_.failed.empty() || current_.failed == no_words) {
        current_.failed = std::move(why);
    }
}

void answer_record::hear_session(std::string_view text, bool own_thread)
{
    constexpr std::string_view is_error = ")request has been completed with error '";
    constexpr std::string_view is_blocked = ") request has been completed: response 'blocked' threat='";
    if (!take(text, "session(")) {
        return;
    }
    // Behind the address of the session, on the thread that reads the answers.
    std::string_view rest = text.substr(std::min(text.find(')'), text.size()));
    if (take(rest, is_error)) {
        error_ = std::string(rest.substr(0, rest.rfind('\'')));
    } else if (take(rest, is_blocked)) {
        current_.threat = std::string(rest.substr(0, rest.rfind("' with istag=")));
    } else if (own_thread && rest.starts_with(") failed: ")) {
        unreachable_ = failure_words(behind_last(rest, ") failed: "));
        fail("no connection to the service: " + unreachable_);
    } else if (own_thread && rest.starts_with(") mail request: '")) {
        fail(failure_words(behind_last(rest, "' failed: ")));
    }
}

/// Returns the words for a failed exchange. An answer that is not a verdict has been described before.
std::string answer_record::failure_words(std::string_view why)
{
    const std::string described = std::exchange(error_, {});
    return problem_words(why == "request failed: server reply with error" && !described.empty() ? described : why);
}

void answer_record::hear_check(std::string_view text)
{
    std::string_view rest = text;
    if (text.starts_with("-=")) {
        return; // an event begins or ends: the most frequent lines, which decide nothing
    }
    if (text == "Outlook plugin is turned off") {
        off_ = "scanning is turned off in the settings";
    } else if (text == "No connection to ICAP server" || text == "Connection to ICAP server aborted") {
        fail("no connection to the service" + (unreachable_.empty() ? std::string() : ": " + unreachable_));
    } else if (text == "Checking mail body" && !attachment_) {
        begun_ = true;
        current_ = {};
    } else if (take(rest, "Failed to get the attachment table, 0x") ||
               take(rest, "Failed to query rows from attachment table, 0x")) {
        unlisted_ = with_result("the attachments cannot be listed", leading(rest, 16));
    } else if (take(rest, " - Checking attachment ID: ")) {
        begin_attachment(rest);
    } else if (attachment_) {
        hear_attachment(text);
    } else {
        hear_body(text);
    }
}

void answer_record::hear_body(std::string_view text)
{
    std::string_view rest = text;
    if (take(rest, "Failed to open plain body: 0x")) {
        const std::uint32_t result = leading(rest, 16);
        current_.absent = result == not_found;
        current_.failed = current_.absent ? "" : with_result("it cannot be opened", result);
    } else if (text == "Nothing to check") {
        current_.skipped = current_.absent ? "there is none" : "";
    } else if (take(rest, "Body size: ")) {
        current_.absent = leading<std::uint64_t>(rest, 10) == 0;
    } else if (text == "Skipped body by size") {
        current_.skipped = current_.absent ? "empty" : "larger than the size limit of the settings";
    } else if (take(rest, "Message body checked, hr=0x")) {
        end_object(answers_.body, rest);
    }
}

/// The inner body of an attached message is judged again as a part of the whole one, so that its lines decide nothing.
void answer_record::hear_attachment(std::string_view text)
{
    std::string_view rest = text;
    if (text == "   Skipped by attach method") {
        current_.skipped = "an attachment of this kind is not sent";
        end_object(*attachment_, {});
    } else if (text == "   Skipped by size") {
        current_.skipped = "larger than the size limit of the settings";
        end_object(*attachment_, {});
    } else if (text == "   Skipping zero-length attach") {
        current_.skipped = "empty";
        current_.absent = true;
    } else if (take(rest, "   Failed to open attach = 0x") ||
               take(rest, "   Failed to get embedded message from attach = 0x")) {
        fail(with_result("it cannot be opened", leading(rest, 16)));
    } else if (take(rest, "   Failed to get attach body = 0x")) {
        const std::uint32_t result = leading(rest, 16);
        if (result == not_found) {
            current_.skipped = "empty";
            current_.absent = true;
        } else {
            fail(with_result("it cannot be opened", result));
        }
    } else if (take(rest, "Failed to convert the message to MIME, hr = 0x")) {
        fail(with_result("it cannot be converted for the service", leading(rest, 16)));
    } else if (take(rest, "   Attachment checked, hr = 0x")) {
        end_object(*attachment_, rest);
    }
}

void answer_record::begin_attachment(std::string_view text)
{
    current_ = {};
    const auto number = leading(text, 10);
    const auto found = std::find_if(answers_.attachments.begin(), answers_.attachments.end(),
                                    [number](const attachment_answer& one) { return one.number == number; });
    if (found != answers_.attachments.end()) {
        attachment_ = &*found;
    } else { // one that the record does not have
        attachment_ = &answers_.attachments.emplace_back();
        attachment_->number = number;
    }
    attachment_->why = no_words;
    if (leading(behind_last(text, ", method: "), 10) == ole_object) {
        current_.skipped = "an OLE object is not sent";
    }
}

/// `outcome` is the rest of the line that ends the check of the object: "0, result: 1"; empty if it has none.
void answer_record::end_object(object_answer& object, std::string_view outcome)
{
    const auto verdict = static_cast<ScanResult>(leading<std::int32_t>(behind_last(outcome, "result: "), 10));
    object = [&] {
        object_answer ended;
        if (!current_.skipped.empty()) {
            ended.state = answer_state::skipped;
            ended.why = current_.skipped;
            ended.judged = current_.absent;
        } else if (verdict != ScanResult::None && (current_.failed.empty() || verdict == ScanResult::Blocked)) {
            ended.state = answer_state::scanned;
            ended.verdict = verdict;
            ended.judged = true;
            ended.threat = current_.threat;
        } else {
            ended.why = current_.failed.empty() ? with_result(no_words, leading(outcome, 16)) : current_.failed;
        }
        return ended;
    }();
    current_ = {};
    attachment_ = nullptr;
}

opening_answers answer_record::finish(HRESULT check)
{
    const std::lock_guard guard(lock_);
    opening_answers result = std::exchange(answers_, {});
    thread_ = {};
    attachment_ = nullptr;
    if (!off_.empty() && !begun_) {
        set_all(result, answer_state::skipped, off_);
    } else if (FAILED(check) && !begun_) {
        set_all(result, answer_state::no_answer, with_result("the check failed", static_cast<std::uint32_t>(check)));
    } else if (!begun_) {
        set_all(result, answer_state::skipped, "the verdict on the message was known", true);
    }
    const auto is_open = [](const object_answer& one) {
        return one.state == answer_state::no_answer && one.why.empty();
    };
    constexpr const char* early = "the check ended before it";
    if (is_open(result.body)) {
        result.body.why = early;
    }
    for (std::size_t i = 0; i < result.attachments.size(); ++i) {
        attachment_answer& one = result.attachments[i];
        if (is_open(one) && i >= most_attachments) {
            one.state = answer_state::skipped;
            one.why = "only the first 100 attachments are sent";
        } else if (is_open(one)) {
            one.why = unlisted_.empty() ? early : unlisted_;
        }
    }
    return result;
}

} // namespace host
