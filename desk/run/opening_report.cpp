#include "desk/run/opening_report.h"

#include "desk/run/colours.h"
#include "desk/run/output_check.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace host {

namespace {

std::string result_text(HRESULT result)
{
    const std::string digits = winapi::hex32(static_cast<std::uint32_t>(result));
    return "0x" + std::string(digits.size() < 8 ? 8 - digits.size() : 0, '0') + digits;
}

class json_report final : public opening_report
{
public:
    explicit json_report(const console& where)
        : where_(where)
    {}
    void add(const reported_opening& entry) override
    {
        nlohmann::ordered_json line;
        line["file"] = entry.file;
        line["opening"] = entry.number;
        line["hr"] = result_text(entry.result.result);
        line["verdict"] = static_cast<std::int32_t>(entry.result.verdict);
        line["display"] = entry.result.blocked ? "blocked" : "opened";
        line["elapsed_ms"] = entry.result.elapsed_ms;
        line["answered"] = to_json(entry.result.answers);
        if (!entry.warnings.empty()) {
            line["warnings"] = entry.warnings;
        }
        digest_cache digests;
        line["before"] = to_json(entry.before, digests);
        line["after"] = to_json(entry.after, digests);
        // A name may contain any bytes; invalid UTF-8 becomes the replacement character.
        where_.out << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
        flush_output(where_);
    }
    void finish(const opening_totals&) override {}

private:
    const console& where_;
};

/// Indexed by verdict.
constexpr std::array<const char*, 4> verdict_names{"not judged", "clean", "condemned", "repaired"};

bool is_known(ScanResult verdict)
{
    const auto number = static_cast<std::int32_t>(verdict);
    return number >= 0 && static_cast<std::size_t>(number) < verdict_names.size();
}

/// A message may have any number as its verdict. The number is reported as stored.
std::string verdict_text(ScanResult verdict)
{
    return is_known(verdict) ? verdict_names.at(static_cast<std::size_t>(verdict))
                             : "unknown " + std::to_string(static_cast<std::int32_t>(verdict));
}

class table_report final : public opening_report
{
public:
    table_report(const console& where, std::size_t name_columns)
        : where_(where)
        , name_columns_(name_columns)
        , start_(std::chrono::steady_clock::now())
    {}

    void add(const reported_opening& entry) override
    {
        if (opened_ == 0) {
            row("MESSAGE", "VERDICT", "ANSWERED", "DISPLAY", "MS", "CHANGED");
        }
        ++opened_;
        const bool failed = FAILED(entry.result.result);
        const ScanResult verdict = entry.result.verdict;
        const auto counted = static_cast<std::size_t>(is_known(verdict) ? verdict : ScanResult::None);
        ++(failed ? failed_ : verdicts_.at(counted));
        blocked_ += entry.result.blocked ? 1 : 0;
        changed_ += entry.changes.empty() ? 0 : 1;
        row(entry.file, failed ? "failed " + result_text(entry.result.result) : verdict_text(verdict),
            answered_text(entry.result.answers), entry.result.blocked ? "blocked" : "opened",
            std::to_string(entry.result.elapsed_ms), with_threats(entry.changes, threats_of(entry.result.answers)));
        report_missing_answer(entry);
    }

    void finish(const opening_totals& totals) override
    {
        const auto spent =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_);
        where_.out << (opened_ == 0 ? "" : "\n") << opened_ << (opened_ == 1 ? " opening in " : " openings in ")
                   << spent.count() << " ms: " << verdicts_.at(1) << " clean, " << verdicts_.at(2) << " condemned, "
                   << verdicts_.at(3) << " repaired, " << verdicts_.at(0) << " not judged; " << changed_ << " changed, "
                   << blocked_ << " blocked";
        if (failed_ != 0) {
            where_.out << ", " << failed_ << (failed_ == 1 ? " check failed" : " checks failed");
        }
        if (totals.unanswered != 0) {
            where_.out << "; " << totals.unanswered << (totals.unanswered == 1 ? " lacks" : " lack") << " an answer";
        }
        if (totals.saved != 0 && !totals.folder.empty()) {
            where_.out << "; " << totals.saved << " saved in " << totals.folder;
        }
        if (totals.unsaved != 0) {
            where_.out << "; " << totals.unsaved << " could not be saved";
        }
        if (totals.unreadable != 0) {
            where_.out << "; " << totals.unreadable << " could not be read";
        }
        where_.out << '\n';
        flush_output(where_);
    }

private:
    static std::string with_threats(const std::string& changes, const std::string& threats)
    {
        if (threats.empty()) {
            return changes.empty() ? "-" : changes;
        }
        return changes + (changes.empty() ? "" : "; ") + "threat: " + printable(threats);
    }

    /// Reports why an answer is missing, unless that is what was reported last.
    void report_missing_answer(const reported_opening& entry)
    {
        const std::string missing = missing_answer(entry.result.answers);
        if (!missing.empty() && missing != reported_) {
            report(where_, entry.file, "no answer for " + missing);
            reported_ = missing;
        }
    }

    void row(const std::string& name, const std::string& verdict, const std::string& answered,
             const std::string& display, const std::string& time, const std::string& changed)
    {
        constexpr std::size_t verdict_columns = 17; // "failed 0x80004002"
        constexpr std::size_t answered_columns = 8;
        constexpr std::size_t display_columns = 7;
        constexpr std::size_t time_columns = 6;
        const std::size_t pad = time.size() < time_columns ? time_columns - time.size() : 0;
        where_.out << fitted(name, name_columns_) << "  " << in_its_colour(fitted(verdict, verdict_columns), where_)
                   << "  " << fitted(answered, answered_columns) << "  " << fitted(display, display_columns) << "  "
                   << std::string(pad, ' ') << time << "  " << changed << '\n';
        flush_output(where_);
    }

    const console& where_;
    std::size_t name_columns_;
    std::chrono::steady_clock::time_point start_;
    std::size_t opened_ = 0;
    std::size_t failed_ = 0;
    std::size_t blocked_ = 0;
    std::size_t changed_ = 0;
    std::array<std::size_t, verdict_names.size()> verdicts_{};
    std::string reported_; ///< the reason for a missing answer that was reported last
};

} // namespace

std::unique_ptr<opening_report> make_json_report(const console& where)
{
    return std::make_unique<json_report>(where);
}

std::unique_ptr<opening_report> make_table_report(const console& where, std::size_t name_columns)
{
    return std::make_unique<table_report>(where, name_columns);
}

} // namespace host
