#pragma once

#include "desk/report/remote_contents.h"
#include "desk/report/report_figures.h"
#include "desk/run/opening_report.h"
#include "store/bytes.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

/// What the report states about its run.
struct report_heading
{
    std::string when; ///< date and time for display
    std::string program;
    std::vector<std::pair<std::string, std::string>> how; ///< names and values: the service, the settings
};

/// Limits of a page, in bytes. Together with the heading a page remains smaller than 20 MB for any number of openings.
struct report_limits
{
    std::size_t clean_rows = 6'000'000; ///< up to here all openings are listed
    std::size_t rows = 7'500'000;       ///< up to here those that are neither clean nor unchanged
    std::size_t bodies = 9'000'000;     ///< up to here the sections of changed messages have bodies
    std::size_t sections = 10'500'000;  ///< up to here changed messages have sections
    std::size_t open_sections = 10;     ///< unfolded sections at the beginning
};

/// A report as one HTML page, which needs nothing outside of it: no script, no style sheet, no image. The parts of the
/// page are kept in temporary files without a name until the run is over, so that the memory used does not depend on
/// the number of openings.
class html_report final : public opening_report
{
public:
    /// Throws an exception derived from std::exception if the page can obviously not be written to `target`.
    html_report(std::filesystem::path target, report_heading heading, const report_limits& limits = {});

    void add(const reported_opening& entry) override;
    void add_unreadable(const std::string& file, const std::string& why) override;
    /// Writes the page, completely or not at all. Throws an exception derived from std::exception on failure.
    void finish(const opening_totals& totals) override;

private:
    void add_row(const std::string& row, bool ordinary);
    [[nodiscard]] bool add_section(const reported_opening& entry);
    [[nodiscard]] std::string beginning(const opening_totals& totals) const;
    [[nodiscard]] std::string summary(const opening_totals& totals) const;
    [[nodiscard]] std::string how() const;

    std::filesystem::path target_;
    report_heading heading_;
    report_limits limits_;
    report_figures figures_;
    remote_contents blocked_;
    scratch rows_;
    scratch sections_;
    std::size_t large_sections_ = 0; ///< whose bodies did not fit
    std::size_t messages_ = 0;
    std::size_t sections_made_ = 0;
    std::size_t rows_left_out_ = 0;
    std::size_t sections_left_out_ = 0;
};

} // namespace host
