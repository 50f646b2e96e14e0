#include "doctor/scan_rows.h"

#include "doctor/engine_row.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace doctor {

namespace {

constexpr const char* service_remedy = "Start the scanning service, or restart it if it runs; its log contains the "
                                       "reason. Until then mail opens unscanned.";
constexpr const char* engine_remedy =
    "See the row engines and the log of the service: its engine must be reached and must have signatures.";

std::string milliseconds_text(std::chrono::milliseconds time)
{
    return std::to_string(time.count()) + " ms";
}

/// Returns true if the service withholds an object by that name without a verdict of an engine.
bool is_withheld(const std::string& threat)
{
    return threat.starts_with("Unchecked.") || threat.starts_with("Blocked.");
}

std::string list_of(const std::vector<std::string>& texts)
{
    std::string list;
    for (const std::string& text : texts) {
        if (!text.empty()) { // the client splits the list at every separator
            list.append(list.empty() ? "" : ", ").append(text);
        }
    }
    return list.empty() ? "none" : list;
}

/// Returns the standard antivirus test file, assembled, so that no file contains it whole.
std::string test_file()
{
    return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}$").append("EICAR-STANDARD-").append("ANTIVIRUS-TEST-FILE!$H+H*");
}

std::string unique_number()
{
    return std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
}

} // namespace

scan_rows::scan_rows(std::shared_ptr<scanner> service, std::chrono::milliseconds slow)
    : scanner_(std::move(service))
    , slow_(slow)
{}

finding scan_rows::options()
{
    asked_ = true;
    options_answer answer;
    try {
        answer = scanner_->options();
    } catch (const std::exception& failure) {
        return failed(failure.what(), service_remedy);
    }
    {
        const std::lock_guard guard(lock_);
        istag_ = answer.istag;
    }
    answered_ = true;
    const std::string found = "methods " + list_of(answer.methods) + "; preview " + std::to_string(answer.preview) +
                              "; ISTag " + (answer.istag.empty() ? "none" : answer.istag);
    if (std::find(answer.methods.begin(), answer.methods.end(), "REQMOD") == answer.methods.end()) {
        return failed(found, "The mail add-in sends REQMOD, which this service does not list: check port and path.");
    }
    if (answer.istag.empty()) {
        return warning(found, "Without an ISTag nobody can see which signatures judge. Check port and path.");
    }
    return ok(found);
}

/// Returns the finding of a row that would only wait again for a service that has not answered OPTIONS.
std::optional<finding> scan_rows::unanswered()
{
    if (asked_ && !answered_) {
        return failed("not sent: OPTIONS was not answered", "See the row options.");
    }
    return {};
}

/// The object's name is new as well, so that the service cannot know the verdict.
object_answer scan_rows::judge(const std::string& bytes)
{
    object_answer answer = scanner_->judge("postwarden-doctor-" + unique_number() + ".txt", bytes);
    const std::lock_guard guard(lock_);
    if (answer.answered) {
        longest_ = std::max(longest_.value_or(answer.spent), answer.spent);
    }
    return answer;
}

finding scan_rows::clean_object()
{
    if (auto known = unanswered()) {
        return *known;
    }
    object_answer answer;
    try {
        answer = judge("A harmless text of postwarden-doctor, number " + unique_number() + ".\r\n");
    } catch (const std::exception& failure) {
        return failed(failure.what(), service_remedy);
    }
    if (!answer.answered) {
        return failed("the service gave no verdict", engine_remedy);
    }
    if (is_withheld(answer.threat)) {
        return failed("withheld without a verdict, as " + answer.threat,
                      answer.threat.starts_with("Blocked.") ? "A list of the service withholds each text file: correct "
                                                              "its options --block-name and --block-type."
                                                            : engine_remedy);
    }
    if (answer.result != ScanResult::Clean) {
        return failed("a harmless text is condemned" +
                          (answer.threat.empty() ? std::string() : ", as " + answer.threat),
                      "The service condemns honest mail: look for the cause in its engine, and verify that the port is "
                      "that of the service.");
    }
    return ok("passed in " + milliseconds_text(answer.spent));
}

finding scan_rows::test_object()
{
    if (auto known = unanswered()) {
        return *known;
    }
    object_answer answer;
    try {
        answer = judge(test_file());
    } catch (const std::exception& failure) {
        return failed(failure.what(), service_remedy);
    }
    if (!answer.answered) {
        return failed("the service gave no verdict", engine_remedy);
    }
    if (is_withheld(answer.threat)) {
        return failed("withheld without a verdict, as " + answer.threat, engine_remedy);
    }
    if (answer.result != ScanResult::Blocked) {
        return failed("the standard antivirus test file is not condemned",
                      "Harmful mail opens. Check the engines of the service, its option --ignore-threat, and that the "
                      "port is that of the service.");
    }
    return ok("condemned as " + (answer.threat.empty() ? "a threat without a name" : answer.threat) + " in " +
              milliseconds_text(answer.spent));
}

finding scan_rows::verdict_time()
{
    std::optional<std::chrono::milliseconds> longest;
    {
        const std::lock_guard guard(lock_);
        longest = longest_;
    }
    if (!longest && !unanswered()) {
        (void)clean_object();
        const std::lock_guard guard(lock_);
        longest = longest_;
    }
    if (!longest) {
        return failed("no verdict was received", "See the rows clean-object and test-object.");
    }
    if (*longest >= slow_) {
        return warning(milliseconds_text(*longest),
                       "The mail client disables add-ins whose openings are slow: relieve the machine or the engine.");
    }
    return ok(milliseconds_text(*longest));
}

finding scan_rows::engines()
{
    if (!asked_) {
        (void)options();
    }
    if (auto known = unanswered()) {
        return *known;
    }
    const std::lock_guard guard(lock_);
    return engines_by_istag(istag_);
}

} // namespace doctor
